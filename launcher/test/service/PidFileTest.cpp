#include "service/PidFile.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "fakes/FakeFileLock.h"
#include "fakes/FakeOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "support/CapturedLog.h"
#include "support/Catalogue.h"

namespace {

const std::wstring kPath = L"/run/l.pid";
const std::string kPathText = "/run/l.pid";

class PidFileTest : public ::testing::Test {
  protected:
    PidFileTest() { os.files.addDirectory(L"/run"); }

    // readPid's answer and what it wrote into errors.
    std::pair<int32_t, std::wstring> read(const std::string& content) {
        os.files.addFile(kPath, content);
        std::wostringstream errors;
        const int32_t pid = PidFile::readPid(os.files, kPath, errors);
        return {pid, errors.str()};
    }
    // The code and message of what savePid throws.
    std::wstring saveFailure(PidFile& pidFile) {
        try {
            pidFile.savePid();
        } catch (const LauncherException& e) {
            return std::to_wstring(e.getCode()) + L" " + e.getMessage();
        }
        return L"saved";
    }

    ScopedCatalogue english;
    CapturedLog log;
    FakeOsUtilsFactory os;
    FakeFileLock lock{os.files};
};

TEST_F(PidFileTest, ReadAcceptsWhatStrtoulConsumesWithinNineBytes) {
    EXPECT_EQ(std::make_pair(123456789, std::wstring()), read("123456789"));
    EXPECT_EQ(std::make_pair(42, std::wstring()), read(" 42"));
    EXPECT_EQ(std::make_pair(42, std::wstring()), read("+42"));
    const std::wstring illegal = L"Illegal characters in PID file '" + kPath + L"'";
    EXPECT_EQ(std::make_pair(-1, illegal), read("4242\n"));
    EXPECT_EQ(std::make_pair(-1, illegal), read(std::string("42\0", 3)));
    EXPECT_EQ(std::make_pair(-1, illegal), read(" "));
    EXPECT_EQ(std::make_pair(-1, L"Extra characters in PID file '" + kPath + L"'"),
              read("1234567890"));
    EXPECT_EQ(std::make_pair(-1, L"Zero-sized PID file '" + kPath + L"'"), read(""));

    std::wostringstream errors;
    try {
        PidFile::readPid(os.files, L"", errors);
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(L"Invalid state. Cannot read a PID because file name was not set",
                  e.getMessage());
    }
}

TEST_F(PidFileTest, SavedFileHoldsTheDigitsAndIsLockedUntilRemoved) {
    os.process.pid = 31337;
    PidFile pidFile(os, lock, kPath);
    pidFile.savePid();
    EXPECT_EQ("31337", os.files.contentOf(kPath));
    EXPECT_TRUE(lock.isLocked(kPath));
    pidFile.removePid();
    EXPECT_FALSE(os.files.hasFile(kPath));
    EXPECT_FALSE(lock.isLocked(kPath));

    PidFile none(os, lock, L"");
    none.savePid();
    none.removePid();
    std::vector<std::string> messages;
    for (const LogLine& line : log.lines()) {
        messages.push_back(line.level + " " + line.function + " " + line.message);
    }
    EXPECT_EQ((std::vector<std::string>{"INFO savePid PID saved path=" + kPathText,
                                        "INFO remove PID file was removed path=" + kPathText,
                                        "INFO remove No PID file was removed because none "
                                        "was written."}),
              messages);
}

TEST_F(PidFileTest, ARelativePathKeepsNamingTheWrittenFileAfterTheDirectoryChanges) {
    os.files.addDirectory(L"/srv/work");
    os.files.currentDirectory = L"/run";
    PidFile pidFile(os, lock, L"l.pid");
    pidFile.savePid();
    os.files.currentDirectory = L"/srv/work";
    os.files.addFile(L"l.pid", "namesake");
    pidFile.removePid();
    EXPECT_FALSE(os.files.hasFile(kPath));
    EXPECT_EQ("namesake", os.files.contentOf(L"/srv/work/l.pid"));
    EXPECT_EQ("INFO", log.only("PID file was removed path=" + kPathText).level);
}

TEST_F(PidFileTest, FileOfAnotherLauncherIsNeitherWrittenNorRemoved) {
    os.files.addFile(kPath, "77");
    lock.lockedByOthers.insert(kPath);
    PidFile pidFile(os, lock, kPath);
    EXPECT_EQ(L"3 PID file exists and the process with PID referenced there is running",
              saveFailure(pidFile));
    pidFile.removePid();
    EXPECT_EQ("77", os.files.contentOf(kPath));

    // Nor when it took our place after ours was deleted.
    lock.lockedByOthers.clear();
    PidFile replaced(os, lock, kPath);
    replaced.savePid();
    lock.replacedPaths.insert(kPath);
    os.files.addFile(kPath, "555");
    replaced.removePid();
    EXPECT_EQ("555", os.files.contentOf(kPath));
}

TEST_F(PidFileTest, FailuresToWriteAndToRemove) {
    os.files.addDirectory(kPath);
    PidFile directory(os, lock, kPath);
    EXPECT_EQ(L"3 Cannot write file '" + kPath + L"'. Error: (21) Is a directory",
              saveFailure(directory));
    directory.removePid();
    EXPECT_TRUE(os.files.isDirectory(kPath));
    EXPECT_EQ("ERROR", log.only("PID file path points to directory, so will not be deleted path=" +
                                kPathText)
                           .level);

    PidFile absent(os, lock, L"/run/gone.pid");
    absent.removePid();
    EXPECT_EQ("INFO", log.only("PID file is absent, nothing to remove path=/run/gone.pid").level);

    PidFile undeletable(os, lock, L"/run/u.pid");
    undeletable.savePid();
    os.files.failOn(L"/run/u.pid");
    EXPECT_NO_THROW(undeletable.removePid());
    EXPECT_EQ("ERROR", log.only("Cannot remove PID file Error=\"Cannot read file '/run/u.pid'. "
                                "Error: (13) Permission denied\"")
                           .level);
}

}  // namespace
