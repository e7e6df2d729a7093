#include "platform/LinuxFileUtils.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "fakes/FakeFileUtils.h"
#include "platform/LauncherOsException.h"
#include "support/Catalogue.h"
#include "support/TempDir.h"

namespace {

// Runs the rest of the test from inside a directory, for relative paths.
struct ScopedWorkingDirectory {
    explicit ScopedWorkingDirectory(const std::string& path) {
        std::filesystem::current_path(path);
    }
    ~ScopedWorkingDirectory() { std::filesystem::current_path(previous); }
    std::filesystem::path previous = std::filesystem::current_path();
};

class LinuxFileUtilsTest : public ::testing::Test {
  protected:
    // The message of the LauncherOsException the call throws.
    template <typename Call>
    std::wstring osError(Call call) {
        try {
            call();
        } catch (const LauncherOsException& e) {
            EXPECT_EQ(20, e.getCode());
            return e.getMessage();
        }
        return L"no LauncherOsException";
    }
    std::wstring noFile(const wchar_t* what, const std::wstring& path) {
        return what + (L" '" + path) + L"'. Error: (2) No such file or directory";
    }

    ScopedCatalogue english;
    TempDir dir;
    LinuxFileUtils files;
};

TEST_F(LinuxFileUtilsTest, ReadsUpToTenMebibytesAndWritesWhatItIsGiven) {
    const std::string big = dir.path("big");
    dir.write("big", "");
    ASSERT_EQ(0, truncate(big.c_str(), 10485760));
    EXPECT_EQ(10485760u, files.readFile(toWide(big))->size());
    ASSERT_EQ(0, truncate(big.c_str(), 10485761));
    EXPECT_EQ(L"File '" + toWide(big) + L"' is too big",
              osError([&] { files.readFile(toWide(big)); }));

    dir.write("data", "a much longer old content");
    files.writeFile("a\0b\xff\n", 5, dir.wpath("data"));
    EXPECT_EQ(std::string("a\0b\xff\n", 5), files.readFile(dir.wpath("data"))->toString());

    EXPECT_EQ(noFile(L"Cannot read file", dir.wpath("missing")),
              osError([&] { files.readFile(dir.wpath("missing")); }));
    // A directory opens but cannot be read.
    EXPECT_EQ(L"Cannot read file '" + dir.wpath() + L"'. Error: (21) Is a directory",
              osError([&] { files.readFile(dir.wpath()); }));
    EXPECT_EQ(noFile(L"Cannot write file", dir.wpath("no/out")),
              osError([&] { files.writeFile("x", 1, dir.wpath("no/out")); }));
}

TEST_F(LinuxFileUtilsTest, ExistsThrowsWhenTheAnswerIsUnknownAndDeleteSparesDirectories) {
    dir.write("file", "x");
    EXPECT_TRUE(files.exists(dir.wpath("file")));
    EXPECT_FALSE(files.exists(dir.wpath("missing")));
    EXPECT_EQ(L"Cannot read file '" + dir.wpath("file/child") + L"'. Error: (20) Not a directory",
              osError([&] { files.exists(dir.wpath("file/child")); }));
    EXPECT_FALSE(files.isDirectory(dir.wpath("file/child")));

    EXPECT_TRUE(files.deleteFile(dir.wpath("file")));
    EXPECT_FALSE(pathExists(dir.path("file")));
    EXPECT_FALSE(files.deleteFile(dir.wpath("file")));
    dir.mkdir("sub");
    EXPECT_EQ(L"Cannot delete file '" + dir.wpath("sub") + L"'. Error: (21) Is a directory",
              osError([&] { files.deleteFile(dir.wpath("sub")); }));
}

TEST_F(LinuxFileUtilsTest, DirectoriesRightUnderDotOrRootAreNeverCreated) {
    ScopedWorkingDirectory cwd(dir.path());
    files.createDirectories(L"logs");
    files.createParentDirectories(L"logs/launcher.log");
    EXPECT_FALSE(pathExists("logs"));
    const std::string underRoot = "/launcher-test-absent-" + std::to_string(getpid());
    files.createDirectories(toWide(underRoot));
    EXPECT_FALSE(pathExists(underRoot));
    rmdir(underRoot.c_str());

    // "a" is never created, so "a/b" is the first mkdir and it fails.
    EXPECT_EQ(noFile(L"Unable to resolve path", L"a/b"),
              osError([&] { files.createDirectories(L"a/b/c"); }));
    dir.mkdir("a");
    files.createDirectories(L"a/b/c");
    files.createDirectories(L"a/b/c");
    EXPECT_TRUE(files.isDirectory(L"a/b/c"));
    files.createParentDirectories(dir.wpath("x/y/launcher.log"));
    EXPECT_TRUE(files.isDirectory(dir.wpath("x/y")));
    EXPECT_FALSE(pathExists(dir.path("x/y/launcher.log")));
}

TEST_F(LinuxFileUtilsTest, PrepareFileForAppendKeepsContentAndResolvesPath) {
    ScopedWorkingDirectory cwd(dir.path());
    EXPECT_EQ(dir.wpath("new.out"), files.prepareFileForAppend(L"new.out"));
    EXPECT_TRUE(pathExists(dir.path("new.out")));
    dir.write("old.out", "kept");
    dir.mkdir("sub");
    EXPECT_EQ(dir.wpath("old.out"), files.prepareFileForAppend(L"./sub/../old.out"));
    EXPECT_EQ("kept", readWholeFile(dir.path("old.out")));
    // Reported with the read-error text even though the file is opened to append.
    EXPECT_EQ(noFile(L"Cannot read file", L"no/such.out"),
              osError([&] { files.prepareFileForAppend(L"no/such.out"); }));
    EXPECT_EQ(noFile(L"Unable to convert path to absolute", L"nothing"),
              osError([&] { files.toAbsolutePath(L"nothing"); }));
}

TEST_F(LinuxFileUtilsTest, ElfClassLooksOnlyAtTheIdentification) {
    const std::string ident = std::string("\x7F") + "ELF";
    dir.write("elf32", ident + '\1' + std::string(59, '\0'));
    dir.write("elf64", ident + '\2' + std::string(59, 'x'));
    dir.write("elf3", ident + '\3' + std::string(59, '\0'));
    dir.write("short", ident + '\2' + std::string(5, '\0'));
    EXPECT_EQ(0, files.getElfClass(dir.wpath("elf32")));
    EXPECT_EQ(1, files.getElfClass(dir.wpath("elf64")));
    EXPECT_EQ(L"Unknown binary type of library '" + dir.wpath("elf3") + L"'",
              osError([&] { files.getElfClass(dir.wpath("elf3")); }));
    EXPECT_EQ(L"A library format is not ELF: '" + dir.wpath("short") + L"'",
              osError([&] { files.getElfClass(dir.wpath("short")); }));
}

TEST_F(LinuxFileUtilsTest, ListFilesMatchesTheMaskAnywhereInFileNames) {
    FakeFileUtils fake;
    dir.mkdir("d");
    dir.mkdir("d/sub.jar");
    fake.addDirectory(dir.wpath("d/sub.jar"));
    for (const char* name : {"launcher.log", "launcher.log.1", "old-launcher.log.2", "launcherXlog",
                             "app.jar", "lib.jar.bak", "notes.txt", "sub.jar/inner.jar"}) {
        dir.write(std::string("d/") + name, "");
        fake.addFile(dir.wpath("d/") + toWide(name));
    }
    // The names found, sorted; a path outside the resolved directory stays whole.
    const std::wstring prefix = dir.wpath("d/");
    auto names = [&](std::vector<std::wstring> paths) {
        std::sort(paths.begin(), paths.end());
        std::string joined;
        for (const std::wstring& path : paths) {
            joined += " " + toUtf8(path.rfind(prefix, 0) == 0 ? path.substr(prefix.size()) : path);
        }
        return joined;
    };
    const std::pair<const wchar_t*, std::string> cases[] = {
        {L"launcher.log", " launcher.log launcher.log.1 launcherXlog old-launcher.log.2"},
        {L"*.jar", " app.jar lib.jar.bak"},
        {L"log$", " launcher.log launcherXlog"},
        {L"",
         " app.jar launcher.log launcher.log.1 launcherXlog lib.jar.bak notes.txt "
         "old-launcher.log.2"}};
    for (const auto& [mask, expected] : cases) {
        EXPECT_EQ(expected, names(files.listFiles(dir.wpath("d"), mask))) << toUtf8(mask);
        // Tests built on the fake hold only while it answers as the real one does.
        EXPECT_EQ(expected, names(fake.listFiles(dir.wpath("d"), mask))) << toUtf8(mask);
    }

    ScopedWorkingDirectory cwd(dir.path());
    // Backslashes are separators; the result carries the resolved directory.
    EXPECT_EQ(" app.jar", names(files.listFiles(L"d\\sub.jar\\..", L"app")));
    EXPECT_EQ("", names(files.listFiles(L"missing", L"*")));
    EXPECT_EQ("", names(files.listFiles(L"d/notes.txt", L"*")));
    const std::wstring badMask = osError([&] { files.listFiles(L"d", L"["); });
    EXPECT_EQ(0u, badMask.rfind(L"Cannot read file '['. Error: (", 0)) << toUtf8(badMask);
}

}  // namespace
