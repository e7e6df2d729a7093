#include "platform/LinuxFileLogger.h"

#include <dirent.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/LauncherException.h"
#include "platform/Logger.h"
#include "support/Catalogue.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

namespace {

class LinuxFileLoggerTest : public ::testing::Test {
  protected:
    // The names in the directory after the test's files were set up and a
    // logger was opened on launcher.log there.
    std::set<std::string> rotate(const std::set<std::string>& present) {
        for (const std::string& name : present) {
            dir.write(name, "was " + name);
        }
        {
            LinuxFileLogger logger(dir.wpath("launcher.log"), 77);
            logger.log(LogLevel::info(), L"C", L"f.cpp", 1, L"f", L"new");
        }
        return names();
    }
    std::set<std::string> names() {
        std::set<std::string> result;
        DIR* d = opendir(dir.path().c_str());
        while (dirent* entry = readdir(d)) {
            std::string name = entry->d_name;
            if (name != "." && name != "..") {
                result.insert(name);
            }
        }
        closedir(d);
        return result;
    }
    std::string newLogMessage() {
        std::vector<LogLine> lines = parseLogLines(readWholeFile(dir.path("launcher.log")));
        return lines.size() == 1 ? lines[0].message
                                 : "(" + std::to_string(lines.size()) + " lines)";
    }

    ScopedCatalogue english;
    TempDir dir;
};

using Names = std::set<std::string>;

TEST_F(LinuxFileLoggerTest, NoLogFileMeansNoRenaming) {
    EXPECT_EQ((Names{"launcher.log", "launcher.log.4"}), rotate({"launcher.log.4"}));
    EXPECT_EQ("was launcher.log.4", readWholeFile(dir.path("launcher.log.4")));
    EXPECT_EQ("new", newLogMessage());
}

TEST_F(LinuxFileLoggerTest, ExistingLogMovesToOneWithoutNumberedFiles) {
    EXPECT_EQ((Names{"launcher.log", "launcher.log.1"}), rotate({"launcher.log"}));
    EXPECT_EQ("was launcher.log", readWholeFile(dir.path("launcher.log.1")));
    EXPECT_EQ("new", newLogMessage());
}

TEST_F(LinuxFileLoggerTest, ExistingLogMovesPastTheLargestIndex) {
    EXPECT_EQ((Names{"launcher.log", "launcher.log.1", "launcher.log.2", "launcher.log.3"}),
              rotate({"launcher.log", "launcher.log.1", "launcher.log.2"}));
    EXPECT_EQ("was launcher.log", readWholeFile(dir.path("launcher.log.3")));
    EXPECT_EQ("was launcher.log.2", readWholeFile(dir.path("launcher.log.2")));
    EXPECT_EQ("new", newLogMessage());
}

TEST_F(LinuxFileLoggerTest, AnyOneCharacterMaySeparateTheIndex) {
    // "x7" counts as index 7; names that are not the base name, one character
    // and digits only do not count at all.
    Names present = {"launcher.log",    "launcher.logx7",      "launcher.log.5", "launcher.log.abc",
                     "launcher.log.9z", "old-launcher.log.50", "launcher.lo",    "launcher.log..8"};
    Names expected = present;
    expected.insert("launcher.log.8");
    EXPECT_EQ(expected, rotate(present));
    EXPECT_EQ("was launcher.log", readWholeFile(dir.path("launcher.log.8")));
}

TEST_F(LinuxFileLoggerTest, BackslashSplitsThePathLikeASlash) {
    // The directory "d" holds the rotated files; with the split at the
    // backslash the next index comes from there, and the log path itself is
    // the file named "d\launcher.log" beside it.
    dir.mkdir("d");
    dir.write("d/launcher.log", "");
    dir.write("d/launcher.log.2", "");
    dir.write("d\\launcher.log", "old");
    { LinuxFileLogger logger(toWide(dir.path("d\\launcher.log")), 1); }
    EXPECT_EQ("old", readWholeFile(dir.path("d\\launcher.log.3")));
    EXPECT_TRUE(pathExists(dir.path("d\\launcher.log")));
    EXPECT_FALSE(pathExists(dir.path("d\\launcher.log.1")));
}

TEST_F(LinuxFileLoggerTest, UnusableDirectoryIsLogFileError) {
    dir.write("file", "");
    const std::wstring path = dir.wpath("file/launcher.log");
    try {
        LinuxFileLogger logger(path, 1);
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(10, e.getCode());
        EXPECT_EQ(L"Cannot create file '" + path + L"'. Error: (20) Not a directory",
                  e.getMessage());
    }
}

}  // namespace
