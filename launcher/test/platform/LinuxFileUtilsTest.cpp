#include "platform/LinuxFileUtils.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/LauncherOsException.h"
#include "support/Catalogue.h"
#include "support/TempDir.h"

namespace {

class LinuxFileUtilsTest : public ::testing::Test {
  protected:
    // The message of the LauncherOsException the call throws.
    template <typename Call>
    std::wstring osError(Call call) {
        try {
            call();
        } catch (const LauncherOsException& e) {
            return std::to_wstring(e.getCode()) + L" " + e.getMessage();
        }
        return L"no LauncherOsException";
    }

    ScopedCatalogue english;
    TempDir dir;
    LinuxFileUtils files;
};

TEST_F(LinuxFileUtilsTest, ReadLimitAndElfIdentification) {
    const std::string big = dir.path("big");
    dir.write("big", "");
    ASSERT_EQ(0, truncate(big.c_str(), 10485760));
    EXPECT_EQ(10485760u, files.readFile(toWide(big))->size());
    ASSERT_EQ(0, truncate(big.c_str(), 10485761));
    EXPECT_EQ(L"20 File '" + toWide(big) + L"' is too big",
              osError([&] { files.readFile(toWide(big)); }));

    // Only the sixteen identification bytes count.
    const std::string ident = std::string("\x7F") + "ELF";
    dir.write("elf64", ident + '\2' + std::string(11, 'x'));
    dir.write("elf3", ident + '\3' + std::string(11, '\0'));
    dir.write("short", ident + '\2' + std::string(10, '\0'));
    EXPECT_EQ(1, files.getElfClass(dir.wpath("elf64")));
    EXPECT_EQ(L"20 Unknown binary type of library '" + dir.wpath("elf3") + L"'",
              osError([&] { files.getElfClass(dir.wpath("elf3")); }));
    EXPECT_EQ(L"20 A library format is not ELF: '" + dir.wpath("short") + L"'",
              osError([&] { files.getElfClass(dir.wpath("short")); }));
}

TEST_F(LinuxFileUtilsTest, DirectoriesRightUnderDotOrRootAreNeverCreated) {
    const std::string absent = "launcher-test-absent-" + std::to_string(getpid());
    for (const std::string& path : {absent, "/" + absent}) {
        files.createParentDirectories(toWide(path + "/launcher.log"));
        EXPECT_FALSE(pathExists(path)) << path;
        rmdir(path.c_str());
    }
    // The first directory is never created, so the second is the first mkdir and fails.
    EXPECT_EQ(L"20 Unable to resolve path '" + toWide(absent) +
                  L"/b'. Error: (2) No such file or directory",
              osError([&] { files.createDirectories(toWide(absent + "/b/c")); }));
    files.createParentDirectories(dir.wpath("x/y/launcher.log"));
    EXPECT_TRUE(files.isDirectory(dir.wpath("x/y")));
}

TEST_F(LinuxFileUtilsTest, ListFilesMatchesTheMaskAnywhereInFileNames) {
    dir.mkdir("d");
    dir.mkdir("d/sub.jar");
    for (const char* name : {"launcher.log", "launcher.log.1", "old-launcher.log.2", "launcherXlog",
                             "app.jar", "lib.jar.bak", "notes.txt"}) {
        dir.write(std::string("d/") + name, "");
    }
    auto names = [&](const std::wstring& mask) {
        std::vector<std::wstring> paths = files.listFiles(dir.wpath("d"), mask);
        std::sort(paths.begin(), paths.end());
        std::string joined;
        for (const std::wstring& path : paths) {
            joined += " " + toUtf8(path.substr(dir.wpath("d/").size()));
        }
        return joined;
    };
    EXPECT_EQ(" launcher.log launcher.log.1 launcherXlog old-launcher.log.2",
              names(L"launcher.log"));
    EXPECT_EQ(" app.jar lib.jar.bak", names(L"*.jar"));
    EXPECT_EQ(" launcher.log launcherXlog", names(L"log$"));
    EXPECT_EQ(0u, osError([&] { names(L"["); }).rfind(L"20 Cannot read file '['. Error: (", 0));
}

}  // namespace
