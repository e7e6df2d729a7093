#include "service/StopRequestClient.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fakes/FakeConsole.h"
#include "fakes/FakeFileLock.h"
#include "fakes/FakeOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "support/CapturedLog.h"
#include "support/Catalogue.h"

namespace {

const std::wstring kPidFile = L"/run/launcher/l.pid";

// A target process as a test scripts it.
class ScriptedTarget : public StopRequestClient {
  public:
    using StopRequestClient::StopRequestClient;

    bool isRunning() override {
        if (pollsWhileRunning < 0) {
            return true;
        }
        return pollsWhileRunning-- > 0;
    }
    std::vector<std::wstring> getCommandLine() override { return commandLine; }
    int askToStop(bool fast) override {
        asked.push_back(fast);
        return askResult;
    }
    int terminateProcess() override {
        ++terminations;
        return terminateResult;
    }
    int32_t getTargetPid() const override { return 77; }

    int askResult = kStoppedGracefully;
    int pollsWhileRunning = -1;  // below 0: runs for ever
    int terminateResult = kKilled;
    std::vector<std::wstring> commandLine;
    std::vector<bool> asked;
    int terminations = 0;
};

class StopRequestClientTest : public ::testing::Test {
  protected:
    StopRequestClientTest() { os.files.addDirectory(L"/run/launcher"); }

    int32_t stop(const std::wstring& pidFile = L"", SimpleOptional<unsigned long> timeout = {},
                 bool pidFromPidFile = false) {
        return target.stopAndReport(pidFile, pidFromPidFile, timeout, false, console);
    }
    void check() { StopRequestClient::checkClientLauncherIsNotRunning(os, lock, kPidFile); }

    ScopedCatalogue english;
    CapturedLog log;
    FakeOsUtilsFactory os;
    FakeFileLock lock{os.files};
    FakeConsole console;
    ScriptedTarget target{os, lock};
};

TEST_F(StopRequestClientTest, TargetThatCannotBeSignalledIsFinal) {
    target.askResult = StopRequestClient::kNotFound;
    EXPECT_EQ(11, stop(L"", 5000UL));
    EXPECT_EQ(L"Launcher with PID=77 not found, nothing was stopped\n", console.err());

    console = FakeConsole();
    target.askResult = StopRequestClient::kNotPermitted;
    EXPECT_EQ(12, stop(L"", 5000UL));
    EXPECT_EQ(L"Launcher is not permitted to stop process with PID=77", console.err());

    target.askResult = 9;
    console = FakeConsole();
    EXPECT_EQ(21, stop());
    EXPECT_EQ(L"", console.err());
    EXPECT_TRUE(os.process.sleeps.empty());
    EXPECT_EQ(0, target.terminations);
}

TEST_F(StopRequestClientTest, GracefulStopIsPolledEveryHundredMillisecondsWithoutLimit) {
    target.pollsWhileRunning = 25;
    EXPECT_EQ(0, stop(kPidFile));
    EXPECT_EQ(L"Launcher with PID=77 stopped gracefully\n", console.err());
    EXPECT_EQ(std::vector<long>(25, 100), os.process.sleeps);
    EXPECT_EQ(0, target.terminations);
    EXPECT_EQ(std::vector<bool>{false}, target.asked);
    std::vector<std::string> waiting;
    for (const LogLine& line : log.lines()) {
        if (line.message.rfind("Waiting for process to stop", 0) == 0) {
            waiting.push_back(line.message);
        }
    }
    ASSERT_EQ(25u, waiting.size());
    EXPECT_EQ("Waiting for process to stop millisecondsElapsed=2400", waiting.back());
    EXPECT_EQ("INFO", log.only("Asked process to stop gracefully millisecondsElapsed=2500").level);
}

TEST_F(StopRequestClientTest, TargetStillRunningAfterTheTimeoutIsKilled) {
    EXPECT_EQ(0, stop(L"", 250UL));
    EXPECT_EQ(L"Launcher with PID=77 was forced to stop\n", console.err());
    EXPECT_EQ(std::vector<long>(3, 100), os.process.sleeps);
    EXPECT_EQ(1, target.terminations);

    // A timeout of 0 kills at once.
    os.process.sleeps.clear();
    console = FakeConsole();
    EXPECT_EQ(0, stop(L"", 0UL));
    EXPECT_TRUE(os.process.sleeps.empty());

    console = FakeConsole();
    target.terminateResult = StopRequestClient::kStillRunning;
    EXPECT_EQ(12, stop(L"", 100UL));
    EXPECT_EQ(L"Launcher with PID=77 is still exist regardless of killing attempt\n",
              console.err());
}

TEST_F(StopRequestClientTest, KilledTargetsPidFileIsCleanedUp) {
    os.files.addFile(kPidFile, "77");
    lock.lockedByOthers.insert(kPidFile);
    EXPECT_EQ(0, stop(kPidFile, 0UL, true));
    EXPECT_EQ(L"Launcher with PID=77 was forced to stop and its PID-file was removed\n",
              console.err());
    EXPECT_FALSE(os.files.hasFile(kPidFile));
    EXPECT_EQ(
        "INFO",
        log.only("PID-file of another instance was removed pidFilePath=" + toUtf8(kPidFile)).level);

    console = FakeConsole();
    os.files.addDirectory(kPidFile);
    EXPECT_EQ(0, stop(kPidFile, 0UL));
    EXPECT_EQ(L"Launcher with PID=77 was forced to stop but its PID-file was not removed\n",
              console.err());

    console = FakeConsole();
    os.files.addFile(L"/run/other.pid", "77");
    os.files.failOn(L"/run/other.pid");
    EXPECT_EQ(0, stop(L"/run/other.pid", 0UL));
    EXPECT_EQ(L"Launcher with PID=77 was forced to stop but its PID-file was not removed\n",
              console.err());

    // Nothing to say about a file that is not there.
    console = FakeConsole();
    EXPECT_EQ(0, stop(L"/run/gone.pid", 0UL));
    EXPECT_EQ(L"Launcher with PID=77 was forced to stop\n", console.err());
}

TEST_F(StopRequestClientTest, PidFileOfTheTargetIsFoundOnlyAfterFourDashes) {
    target.commandLine = {L"/opt/launcher", L"start", L"----pidfile", kPidFile};
    EXPECT_EQ(kPidFile, target.getPidFilePath());
    target.commandLine = {L"/opt/launcher", L"start", L"--pidfile", kPidFile};
    EXPECT_EQ(L"", target.getPidFilePath());
    target.commandLine = {L"/opt/launcher", L"----pidfile"};
    EXPECT_EQ(L"", target.getPidFilePath());
    target.commandLine = {};
    EXPECT_EQ(L"", target.getPidFilePath());
    EXPECT_EQ(1u, log.withMessage("Cannot read pid file path of another instance").size());

    // Found that way, it is cleaned up after a kill.
    target.commandLine = {L"/opt/launcher", L"----pidfile", kPidFile};
    os.files.addFile(kPidFile, "77");
    EXPECT_EQ(0, stop(L"", 0UL));
    EXPECT_EQ(L"Launcher with PID=77 was forced to stop and its PID-file was removed\n",
              console.err());
}

TEST_F(StopRequestClientTest, PidFileNoLauncherHoldsSendsNoSignal) {
    os.files.addFile(kPidFile, "77");
    EXPECT_EQ(11, stop(kPidFile, 1000UL, true));
    EXPECT_TRUE(target.asked.empty());
    EXPECT_EQ(L"Launcher with PID=77 not found, nothing was stopped\n", console.err());

    // The same number given directly is believed.
    target.pollsWhileRunning = 0;
    EXPECT_EQ(0, stop(kPidFile, 1000UL, false));
    EXPECT_EQ(1u, target.asked.size());
}

TEST_F(StopRequestClientTest, CheckBeforeStartKeepsOnlyAFileARunningLauncherHolds) {
    check();
    EXPECT_EQ(1u, log.withMessage("Old PID-file is absent pidFilePath=" + toUtf8(kPidFile)).size());

    os.files.addFile(kPidFile, "12\n");
    check();
    EXPECT_FALSE(os.files.hasFile(kPidFile));
    EXPECT_EQ(1u, log.withMessage("PID-file exists and has unsupported format, delete it "
                                  "formatError=\"Illegal characters in PID file '" +
                                  toUtf8(kPidFile) + "'\", pidFilePath=" + toUtf8(kPidFile))
                      .size());

    os.files.addFile(kPidFile, "12");
    check();
    EXPECT_FALSE(os.files.hasFile(kPidFile)) << "a file of a dead process was kept";

    // Process 12 exists, but no launcher holds the file: the number was reused.
    os.files.addFile(L"/proc/12/status", "Name: bash");
    os.files.addFile(kPidFile, "12");
    check();
    EXPECT_FALSE(os.files.hasFile(kPidFile)) << "a stranger's number blocked the start";

    os.files.addFile(kPidFile, "12");
    lock.lockedByOthers.insert(kPidFile);
    try {
        check();
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(3, e.getCode());
        EXPECT_EQ(L"PID file exists and the process with PID referenced there is running",
                  e.getMessage());
    }
    EXPECT_EQ("12", os.files.contentOf(kPidFile));
}

TEST_F(StopRequestClientTest, PidFileThatCannotBeDeletedRefusesTheStart) {
    os.files.addFile(kPidFile, "12");
    os.files.failOn(kPidFile);
    try {
        check();
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(3, e.getCode());
        EXPECT_EQ(L"PID file '" + kPidFile + L"' exists and cannot be deleted. Error: " +
                      L"Cannot delete file '" + kPidFile + L"'. Error: (13) Permission denied",
                  e.getMessage());
    }
    EXPECT_EQ(1u,
              log.withMessage("PID-file access error, delete it exception=\"Cannot read file '" +
                              toUtf8(kPidFile) + "'. Error: (13) Permission denied\", " +
                              "pidFilePath=" + toUtf8(kPidFile))
                  .size());
}

}  // namespace
