#include "platform/LinuxFileUtils.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "fakes/FakeFileUtils.h"
#include "platform/LauncherOsException.h"
#include "support/Catalogue.h"
#include "support/TempDir.h"

namespace {

// Runs the test from inside the temporary directory, for relative paths.
class ScopedWorkingDirectory {
  public:
    explicit ScopedWorkingDirectory(const std::string& path) {
        char buffer[4096];
        previous_ = getcwd(buffer, sizeof(buffer)) ? buffer : "/";
        if (chdir(path.c_str()) != 0) {
            ADD_FAILURE() << "cannot chdir to " << path;
        }
    }
    ~ScopedWorkingDirectory() {
        if (chdir(previous_.c_str()) != 0) {
            ADD_FAILURE() << "cannot chdir back to " << previous_;
        }
    }

  private:
    std::string previous_;
};

class LinuxFileUtilsTest : public ::testing::Test {
  protected:
    // The message of the LauncherOsException the call throws; fails the test
    // when it throws nothing or something else.
    template <typename Call>
    std::wstring osError(Call call) {
        try {
            call();
        } catch (const LauncherOsException& e) {
            EXPECT_EQ(20, e.getCode());
            return e.getMessage();
        }
        ADD_FAILURE() << "expected LauncherOsException";
        return std::wstring();
    }

    std::string ident(unsigned char elfClass) {
        std::string header =
            "\x7F"
            "ELF";
        header += static_cast<char>(elfClass);
        header += std::string(11, '\0');
        return header + std::string(48, 'x');
    }

    ScopedCatalogue english;
    TempDir dir;
    LinuxFileUtils files;
};

TEST_F(LinuxFileUtilsTest, ReadFileAcceptsExactlyTenMebibytes) {
    const std::string path = dir.path("big");
    dir.write("big", "");
    ASSERT_EQ(0, truncate(path.c_str(), 10485760));
    std::unique_ptr<FileContent> content = files.readFile(toWide(path));
    EXPECT_EQ(10485760u, content->size());
    EXPECT_EQ(toWide(path), content->getPath());

    ASSERT_EQ(0, truncate(path.c_str(), 10485761));
    EXPECT_EQ(L"File '" + toWide(path) + L"' is too big",
              osError([&] { files.readFile(toWide(path)); }));
}

TEST_F(LinuxFileUtilsTest, ReadFileReturnsBytesAndReportsFailures) {
    const std::string bytes("a\0b\xff\n", 5);
    dir.write("data", bytes);
    EXPECT_EQ(bytes, files.readFile(dir.wpath("data"))->toString());

    dir.write("empty", "");
    EXPECT_TRUE(files.readFile(dir.wpath("empty"))->empty());

    EXPECT_EQ(
        L"Cannot read file '" + dir.wpath("missing") + L"'. Error: (2) No such file or directory",
        osError([&] { files.readFile(dir.wpath("missing")); }));
    // A directory opens but cannot be read.
    EXPECT_EQ(L"Cannot read file '" + dir.wpath() + L"'. Error: (21) Is a directory",
              osError([&] { files.readFile(dir.wpath()); }));
}

TEST_F(LinuxFileUtilsTest, WriteFileTruncatesAndReportsMissingDirectory) {
    dir.write("out", "a much longer old content");
    files.writeFile("new\0x", 5, dir.wpath("out"));
    EXPECT_EQ(std::string("new\0x", 5), readWholeFile(dir.path("out")));

    EXPECT_EQ(
        L"Cannot write file '" + dir.wpath("no/out") + L"'. Error: (2) No such file or directory",
        osError([&] { files.writeFile("x", 1, dir.wpath("no/out")); }));
}

TEST_F(LinuxFileUtilsTest, ExistsThrowsWhenTheAnswerIsUnknown) {
    dir.write("file", "x");
    EXPECT_TRUE(files.exists(dir.wpath("file")));
    EXPECT_TRUE(files.exists(dir.wpath()));
    EXPECT_FALSE(files.exists(dir.wpath("missing")));

    const std::wstring underFile = dir.wpath("file/child");
    EXPECT_EQ(L"Cannot read file '" + underFile + L"'. Error: (20) Not a directory",
              osError([&] { files.exists(underFile); }));
    EXPECT_FALSE(files.isDirectory(underFile));
    EXPECT_FALSE(files.isDirectory(dir.wpath("file")));
    EXPECT_TRUE(files.isDirectory(dir.wpath()));
}

TEST_F(LinuxFileUtilsTest, DeleteFile) {
    dir.write("victim", "x");
    EXPECT_TRUE(files.deleteFile(dir.wpath("victim")));
    EXPECT_FALSE(pathExists(dir.path("victim")));
    EXPECT_FALSE(files.deleteFile(dir.wpath("victim")));

    dir.mkdir("sub");
    EXPECT_EQ(L"Cannot delete file '" + dir.wpath("sub") + L"'. Error: (21) Is a directory",
              osError([&] { files.deleteFile(dir.wpath("sub")); }));
}

TEST_F(LinuxFileUtilsTest, CreateDirectoriesNeverCreatesOneRightUnderDotOrRoot) {
    ScopedWorkingDirectory cwd(dir.path());
    files.createDirectories(L"logs");
    EXPECT_FALSE(pathExists(dir.path("logs")));

    const std::string underRoot = "/launcher-test-absent-" + std::to_string(getpid());
    files.createDirectories(toWide(underRoot));
    EXPECT_FALSE(pathExists(underRoot));
    rmdir(underRoot.c_str());

    // "a" is never created, so "a/b" is the first mkdir and it fails.
    EXPECT_EQ(L"Unable to resolve path 'a/b'. Error: (2) No such file or directory",
              osError([&] { files.createDirectories(L"a/b/c"); }));
    EXPECT_FALSE(pathExists(dir.path("a")));

    dir.mkdir("a");
    files.createDirectories(L"a/b/c");
    EXPECT_TRUE(files.isDirectory(L"a/b/c"));
    files.createDirectories(L"a/b/c");  // existing is fine

    files.createDirectories(dir.wpath("x/y/z"));
    EXPECT_TRUE(files.isDirectory(dir.wpath("x/y/z")));
}

TEST_F(LinuxFileUtilsTest, CreateParentDirectoriesStopsBeforeTheFile) {
    files.createParentDirectories(dir.wpath("p/q/launcher.log"));
    EXPECT_TRUE(files.isDirectory(dir.wpath("p/q")));
    EXPECT_FALSE(pathExists(dir.path("p/q/launcher.log")));

    ScopedWorkingDirectory cwd(dir.path());
    files.createParentDirectories(L"launcher.log");
    EXPECT_FALSE(pathExists(dir.path("launcher.log")));
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
    EXPECT_EQ(L"Cannot read file 'no/such.out'. Error: (2) No such file or directory",
              osError([&] { files.prepareFileForAppend(L"no/such.out"); }));
    EXPECT_EQ(L"Unable to convert path to absolute 'nothing'. Error: (2) No such file or directory",
              osError([&] { files.toAbsolutePath(L"nothing"); }));
}

TEST_F(LinuxFileUtilsTest, ElfClassLooksOnlyAtTheIdentification) {
    dir.write("elf32", ident(1));
    dir.write("elf64", ident(2));
    dir.write("elf3", ident(3));
    dir.write("short", std::string(ident(2), 0, 10));
    dir.write("script", "#!/bin/sh\necho not a library at all\n");
    EXPECT_EQ(0, files.getElfClass(dir.wpath("elf32")));
    EXPECT_EQ(1, files.getElfClass(dir.wpath("elf64")));
    EXPECT_EQ(L"Unknown binary type of library '" + dir.wpath("elf3") + L"'",
              osError([&] { files.getElfClass(dir.wpath("elf3")); }));
    EXPECT_EQ(L"A library format is not ELF: '" + dir.wpath("short") + L"'",
              osError([&] { files.getElfClass(dir.wpath("short")); }));
    EXPECT_EQ(L"A library format is not ELF: '" + dir.wpath("script") + L"'",
              osError([&] { files.getElfClass(dir.wpath("script")); }));
    EXPECT_EQ(
        L"Cannot read file '" + dir.wpath("none") + L"'. Error: (2) No such file or directory",
        osError([&] { files.getElfClass(dir.wpath("none")); }));

    // The C math library this test links against is a real 64-bit ELF file.
    Dl_info info{};
    ASSERT_NE(0,
              dladdr(reinterpret_cast<void*>(static_cast<double (*)(double)>(&std::cos)), &info));
    EXPECT_EQ(1, files.getElfClass(toWide(info.dli_fname))) << info.dli_fname;
}

class ListFilesTest : public LinuxFileUtilsTest {
  protected:
    void SetUp() override {
        dir.mkdir("d");
        for (const char* name : {"launcher.log", "launcher.log.1", "old-launcher.log.2",
                                 "launcherXlog", "app.jar", "lib.jar.bak", "notes.txt"}) {
            dir.write(std::string("d/") + name, "");
        }
        dir.mkdir("d/sub.jar");
        dir.mkdir("d/sub.jar/inner");
        dir.write("d/sub.jar/inner.jar", "");
    }

    std::vector<std::string> names(const std::vector<std::wstring>& paths) {
        std::vector<std::string> result;
        for (const std::wstring& path : paths) {
            std::string utf8 = toUtf8(path);
            EXPECT_EQ(0u, utf8.rfind(dir.path("d/"), 0)) << utf8 << " is not a full path";
            result.push_back(utf8.substr(utf8.rfind('/') + 1));
        }
        std::sort(result.begin(), result.end());
        return result;
    }
};

using Names = std::vector<std::string>;

TEST_F(ListFilesTest, MaskMatchesAnywhereInTheName) {
    EXPECT_EQ((Names{"launcher.log", "launcher.log.1", "launcherXlog", "old-launcher.log.2"}),
              names(files.listFiles(dir.wpath("d"), L"launcher.log")));
    EXPECT_EQ((Names{"app.jar", "lib.jar.bak"}), names(files.listFiles(dir.wpath("d"), L"*.jar")));
    EXPECT_EQ((Names{"app.jar", "launcher.log", "launcher.log.1", "launcherXlog", "lib.jar.bak",
                     "notes.txt", "old-launcher.log.2"}),
              names(files.listFiles(dir.wpath("d"), L"")));
    EXPECT_TRUE(files.listFiles(dir.wpath("d"), L"nothing*here").empty());
}

TEST_F(ListFilesTest, DirectoriesNeverListedAndPathsResolved) {
    ScopedWorkingDirectory cwd(dir.path());
    // Backslashes are separators; the result carries the resolved directory.
    EXPECT_EQ((Names{"app.jar"}), names(files.listFiles(L"d\\sub.jar\\..", L"app")));
    EXPECT_EQ((Names{"app.jar", "lib.jar.bak"}), names(files.listFiles(L"./d/", L"jar")));
    EXPECT_TRUE(files.listFiles(dir.wpath("missing"), L"*").empty());
    EXPECT_TRUE(files.listFiles(dir.wpath("d/notes.txt"), L"*").empty());
    const std::wstring badMask = osError([&] { files.listFiles(dir.wpath("d"), L"["); });
    EXPECT_EQ(0u, badMask.rfind(L"Cannot read file '['. Error: (", 0)) << toUtf8(badMask);
}

// The fake answers masks the way the real one does, so tests built on it hold.
TEST_F(ListFilesTest, FakeFileUtilsAgreesOnMasks) {
    FakeFileUtils fake;
    for (const std::string& name : names(files.listFiles(dir.wpath("d"), L""))) {
        fake.addFile(dir.wpath("d/" + name));
    }
    fake.addDirectory(dir.wpath("d/sub.jar"));
    fake.addFile(dir.wpath("d/sub.jar/inner.jar"));
    for (const wchar_t* mask : {L"launcher.log", L"*.jar", L"", L"^launcher", L"log$", L"l*g.1"}) {
        EXPECT_EQ(names(files.listFiles(dir.wpath("d"), mask)),
                  names(fake.listFiles(dir.wpath("d"), mask)))
            << toUtf8(mask);
    }
}

}  // namespace
