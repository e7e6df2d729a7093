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
        {" +42", {42, L""}},
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

// The ways a PID file cannot be written or removed that only a broken or raced file
// system produces: removal never throws, and never takes another launcher's file.
TEST_F(PidFileTest, FailuresToWriteAndToRemoveAreLoggedNotThrown) {
    // Another launcher's, locked after our check for a stale file.
    os.files.addFile(L"/run/held.pid", "77");
    lock.lockedByOthers.insert(L"/run/held.pid");
    PidFile held(os, lock, L"/run/held.pid");
    EXPECT_THROW(held.savePid(), LauncherException);
    held.removePid();
    EXPECT_EQ("77", os.files.contentOf(L"/run/held.pid"));

    os.files.addDirectory(kPath);
    PidFile directory(os, lock, kPath);
    try {
        directory.savePid();
        ADD_FAILURE() << "saved into a directory";
    } catch (const LauncherException& e) {
        EXPECT_EQ(3, e.getCode());
        EXPECT_EQ(L"Cannot write file '/run/l.pid'. Error: (21) Is a directory", e.getMessage());
    }
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
    // Ours was deleted and another launcher has written its own since.
    PidFile replaced(os, lock, L"/run/r.pid");
    replaced.savePid();
    lock.replacedPaths.insert(L"/run/r.pid");
    os.files.addFile(L"/run/r.pid", "555");
    replaced.removePid();
    EXPECT_EQ("555", os.files.contentOf(L"/run/r.pid"));
    std::vector<std::string> removals;
    for (const LogLine& line : log.lines()) {
        if (line.function == "remove") {
            removals.push_back(line.level + " " + line.message);
        }
    }
    EXPECT_EQ((std::vector<std::string>{
                  "INFO No PID file was removed because none was written.",
                  "ERROR PID file path points to directory, so will not be deleted path=/run/l.pid",
                  "INFO PID file is absent, nothing to remove path=/run/gone.pid",
                  "ERROR Cannot remove PID file Error=\"Cannot read file '/run/u.pid'. Error: (13) "
                  "Permission denied\"",
                  "INFO No PID file was removed because none was written.",
                  "INFO PID file was replaced by another launcher's, so will not be deleted "
                  "path=/run/r.pid"}),
              removals);
}

}  // namespace
