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

class PidFileTest : public ::testing::Test {
  protected:
    PidFileTest() { os.files.addDirectory(L"/run"); }

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

// What strtoul consumes completely within nine bytes: so no line end after the digits.
TEST_F(PidFileTest, ReadAcceptsWhatStrtoulConsumesWithinNineBytes) {
    const std::wstring illegal = L"Illegal characters in PID file '/run/l.pid'";
    const std::pair<std::string, std::pair<int32_t, std::wstring>> cases[] = {
        {"123456789", {123456789, L""}},
        {" 42", {42, L""}},
        {"+42", {42, L""}},
        {"4242\n", {-1, illegal}},
        {std::string("42\0", 3), {-1, illegal}},
        {" ", {-1, illegal}},
        {"1234567890", {-1, L"Extra characters in PID file '/run/l.pid'"}},
        {"", {-1, L"Zero-sized PID file '/run/l.pid'"}},
    };
    for (const auto& [content, expected] : cases) {
        os.files.addFile(kPath, content);
        std::wostringstream errors;
        const int32_t pid = PidFile::readPid(os.files, kPath, errors);
        EXPECT_EQ(expected, std::make_pair(pid, errors.str())) << content;
    }
}

TEST_F(PidFileTest, AFileOfAnotherLauncherIsNeitherWrittenNorRemoved) {
    os.files.addFile(kPath, "77");
    lock.lockedByOthers.insert(kPath);
    PidFile refused(os, lock, kPath);
    EXPECT_EQ(L"3 PID file exists and the process with PID referenced there is running",
              saveFailure(refused));
    refused.removePid();
    EXPECT_EQ("77", os.files.contentOf(kPath));

    // Nor when it took our place after ours was deleted.
    lock.lockedByOthers.clear();
    os.process.pid = 31337;
    PidFile replaced(os, lock, kPath);
    replaced.savePid();
    EXPECT_EQ("31337", os.files.contentOf(kPath));
    lock.replacedPaths.insert(kPath);
    os.files.addFile(kPath, "555");
    replaced.removePid();
    EXPECT_EQ("555", os.files.contentOf(kPath));
}

TEST_F(PidFileTest, FailuresToWriteAndToRemoveAreLoggedNotThrown) {
    os.files.addDirectory(kPath);
    PidFile directory(os, lock, kPath);
    EXPECT_EQ(L"3 Cannot write file '/run/l.pid'. Error: (21) Is a directory",
              saveFailure(directory));
    directory.removePid();
    EXPECT_TRUE(os.files.isDirectory(kPath));

    PidFile absent(os, lock, L"/run/gone.pid");
    absent.removePid();
    PidFile undeletable(os, lock, L"/run/u.pid");
    undeletable.savePid();
    os.files.failOn(L"/run/u.pid");
    EXPECT_NO_THROW(undeletable.removePid());
    PidFile none(os, lock, L"");
    none.savePid();
    none.removePid();
    PidFile fine(os, lock, L"/run/ok.pid");
    fine.savePid();
    fine.removePid();
    EXPECT_FALSE(os.files.hasFile(L"/run/ok.pid"));
    std::vector<std::string> removals;
    for (const LogLine& line : log.lines()) {
        if (line.function == "remove") {
            removals.push_back(line.level + " " + line.message);
        }
    }
    EXPECT_EQ((std::vector<std::string>{
                  "ERROR PID file path points to directory, so will not be deleted path=/run/l.pid",
                  "INFO PID file is absent, nothing to remove path=/run/gone.pid",
                  "ERROR Cannot remove PID file Error=\"Cannot read file '/run/u.pid'. Error: (13) "
                  "Permission denied\"",
                  "INFO No PID file was removed because none was written.",
                  "INFO PID file was removed path=/run/ok.pid"}),
              removals);
}

}  // namespace
