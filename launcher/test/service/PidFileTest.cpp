#include "service/PidFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>
#include <string>

#include "fakes/FakeFileLock.h"
#include "fakes/FakeOsUtilsFactory.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "support/CapturedLog.h"
#include "support/Catalogue.h"
#include "support/TempDir.h"

namespace {

const std::wstring kPath = L"/run/launcher/l.pid";

class PidFileTest : public ::testing::Test {
  protected:
    PidFileTest() { os.files.addDirectory(L"/run/launcher"); }

    // readPid's answer and what it wrote into errors.
    std::pair<int32_t, std::wstring> read(const std::string& content) {
        os.files.addFile(kPath, content);
        std::wostringstream errors;
        const int32_t pid = PidFile::readPid(os.files, kPath, errors);
        return {pid, errors.str()};
    }

    ScopedCatalogue english;
    CapturedLog log;
    FakeOsUtilsFactory os;
    FakeFileLock lock{os.files};
};

TEST_F(PidFileTest, ReadAcceptsWhatStrtoulConsumesWithinNineBytes) {
    EXPECT_EQ(std::make_pair(4242, std::wstring()), read("4242"));
    EXPECT_EQ(std::make_pair(123456789, std::wstring()), read("123456789"));
    EXPECT_EQ(std::make_pair(42, std::wstring()), read(" 42"));
    EXPECT_EQ(std::make_pair(42, std::wstring()), read("+42"));

    const std::wstring illegal = L"Illegal characters in PID file '" + kPath + L"'";
    EXPECT_EQ(std::make_pair(-1, illegal), read("4242\n"));
    EXPECT_EQ(std::make_pair(-1, illegal), read("42a"));
    EXPECT_EQ(std::make_pair(-1, illegal), read(std::string("42\0", 3)));
    EXPECT_EQ(std::make_pair(-1, illegal), read(" "));
    EXPECT_EQ(std::make_pair(-1, L"Extra characters in PID file '" + kPath + L"'"),
              read("1234567890"));
    EXPECT_EQ(std::make_pair(-1, L"Zero-sized PID file '" + kPath + L"'"), read(""));
}

TEST_F(PidFileTest, ReadFailsLoudlyWithoutAPathOrAFile) {
    std::wostringstream errors;
    try {
        PidFile::readPid(os.files, L"", errors);
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(L"Invalid state. Cannot read a PID because file name was not set",
                  e.getMessage());
    }
    try {
        PidFile::readPid(os.files, kPath, errors);
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(L"Cannot read file '" + kPath + L"'. Error: (2) No such file or directory",
                  e.getMessage());
    }
    EXPECT_TRUE(errors.str().empty());
}

TEST_F(PidFileTest, SavedFileHoldsTheDigitsAndIsLockedUntilRemoved) {
    os.process.pid = 31337;
    {
        PidFile pidFile(os, lock, kPath);
        pidFile.savePid();
        EXPECT_EQ("31337", os.files.contentOf(kPath));
        EXPECT_TRUE(lock.isLocked(kPath));
        EXPECT_EQ("INFO", log.only("PID saved path=" + toUtf8(kPath)).level);

        pidFile.removePid();
        EXPECT_FALSE(os.files.hasFile(kPath));
        EXPECT_FALSE(lock.isLocked(kPath));
        const LogLine removed = log.only("PID file was removed path=" + toUtf8(kPath));
        EXPECT_EQ("INFO", removed.level);
        EXPECT_EQ("PidFile", removed.className);
        EXPECT_EQ("remove", removed.function);
    }

    const size_t linesBefore = log.lines().size();
    PidFile none(os, lock, L"");
    none.savePid();
    EXPECT_EQ(linesBefore, log.lines().size()) << "an unused PID file logged something";
    none.removePid();
    EXPECT_EQ("INFO", log.only("No PID file was removed because none was written.").level);
}

TEST_F(PidFileTest, FileHeldByAnotherLauncherIsNeitherWrittenNorRemoved) {
    os.files.addFile(kPath, "77");
    lock.lockedByOthers.insert(kPath);
    PidFile pidFile(os, lock, kPath);
    try {
        pidFile.savePid();
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(3, e.getCode());
        EXPECT_EQ(L"PID file exists and the process with PID referenced there is running",
                  e.getMessage());
    }
    pidFile.removePid();
    EXPECT_EQ("77", os.files.contentOf(kPath));
}

TEST_F(PidFileTest, FailureToWriteIsAPidFileError) {
    os.files.addDirectory(kPath);
    PidFile pidFile(os, lock, kPath);
    try {
        pidFile.savePid();
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(3, e.getCode());
        EXPECT_EQ(L"Cannot write file '" + kPath + L"'. Error: (21) Is a directory",
                  e.getMessage());
    }
    pidFile.removePid();
    EXPECT_TRUE(os.files.isDirectory(kPath));
    EXPECT_EQ("ERROR", log.only("PID file path points to directory, so will not be deleted path=" +
                                toUtf8(kPath))
                           .level);
}

TEST_F(PidFileTest, RemoveOnlyLogsWhatGoesWrong) {
    PidFile absent(os, lock, kPath);
    absent.removePid();
    EXPECT_EQ("INFO",
              log.only("PID file is absent, nothing to remove path=" + toUtf8(kPath)).level);

    PidFile undeletable(os, lock, kPath);
    undeletable.savePid();
    os.files.failOn(kPath);
    EXPECT_NO_THROW(undeletable.removePid());
    EXPECT_EQ("ERROR", log.only("Cannot remove PID file Error=\"Cannot read file '" +
                                toUtf8(kPath) + "'. Error: (13) Permission denied\"")
                           .level);
}

TEST_F(PidFileTest, FileAnotherLauncherWroteInOurPlaceStays) {
    PidFile pidFile(os, lock, kPath);
    pidFile.savePid();
    lock.replacedPaths.insert(kPath);
    os.files.addFile(kPath, "555");
    pidFile.removePid();
    EXPECT_EQ("555", os.files.contentOf(kPath));
}

// On a real file: what savePid writes, readPid gives back, and the lock is visible
// from another process.
TEST_F(PidFileTest, RealFileRoundTrip) {
    TempDir dir;
    IOsUtilsFactory& real = getOsUtilsFactory();
    const std::wstring path = dir.wpath("launcher.pid");
    PidFile pidFile(real, getFileLock(), path);
    pidFile.savePid();
    EXPECT_EQ(std::to_string(getpid()), readWholeFile(dir.path("launcher.pid")));
    std::wostringstream errors;
    EXPECT_EQ(getpid(), PidFile::readPid(real.getFileUtils(), path, errors));
    pidFile.removePid();
    EXPECT_FALSE(pathExists(dir.path("launcher.pid")));
}

}  // namespace
