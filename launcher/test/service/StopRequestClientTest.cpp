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

const std::wstring kPidFile = L"/run/l.pid";

// A target process as a test scripts it: process 77.
class ScriptedTarget : public StopRequestClient {
  public:
    using StopRequestClient::StopRequestClient;

    bool isRunning() override { return pollsWhileRunning < 0 || pollsWhileRunning-- > 0; }
    std::vector<std::wstring> getCommandLine() override { return commandLine; }
    int askToStop(bool) override {
        ++asked;
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
    int asked = 0;
    int terminations = 0;
};

class StopRequestClientTest : public ::testing::Test {
  protected:
    StopRequestClientTest() { os.files.addDirectory(L"/run"); }

    // The exit code and what the user read on standard error.
    std::pair<int32_t, std::wstring> stop(const std::wstring& pidFile,
                                          SimpleOptional<unsigned long> timeout,
                                          bool pidFromPidFile = false) {
        FakeConsole console;
        const int32_t code = target.stopAndReport(pidFile, pidFromPidFile, timeout, false, console);
        return {code, console.err()};
    }
    // What checkClientLauncherIsNotRunning threw: code and message, or "started".
    std::wstring check() {
        try {
            StopRequestClient::checkClientLauncherIsNotRunning(os, lock, kPidFile);
        } catch (const LauncherException& e) {
            return std::to_wstring(e.getCode()) + L" " + e.getMessage();
        }
        return L"started";
    }

    ScopedCatalogue english;
    CapturedLog log;
    FakeOsUtilsFactory os;
    FakeFileLock lock{os.files};
    ScriptedTarget target{os, lock};
};

TEST_F(StopRequestClientTest, EachOutcomeHasItsTextAndExitCode) {
    target.askResult = StopRequestClient::kNotFound;
    EXPECT_EQ(
        std::make_pair(11, std::wstring(L"Launcher with PID=77 not found, nothing was stopped\n")),
        stop(L"", 5000UL));
    target.askResult = StopRequestClient::kNotPermitted;
    EXPECT_EQ(
        std::make_pair(12, std::wstring(L"Launcher is not permitted to stop process with PID=77")),
        stop(L"", 5000UL));
    target.askResult = 9;
    EXPECT_EQ(std::make_pair(21, std::wstring()), stop(L"", 5000UL));
    EXPECT_TRUE(os.process.sleeps.empty());

    target.askResult = StopRequestClient::kStillRunning;
    target.terminateResult = StopRequestClient::kStillRunning;
    EXPECT_EQ(std::make_pair(12, std::wstring(L"Launcher with PID=77 is still exist regardless of "
                                              L"killing attempt\n")),
              stop(L"", 250UL));
    EXPECT_EQ(std::vector<long>(3, 100), os.process.sleeps);
    EXPECT_EQ(1, target.terminations);
}

TEST_F(StopRequestClientTest, WithoutTimeoutItPollsUntilTheTargetIsGoneAndNeverKills) {
    target.pollsWhileRunning = 25;
    EXPECT_EQ(std::make_pair(0, std::wstring(L"Launcher with PID=77 stopped gracefully\n")),
              stop(kPidFile, {}));
    EXPECT_EQ(std::vector<long>(25, 100), os.process.sleeps);
    EXPECT_EQ(0, target.terminations);
    EXPECT_EQ(25u, log.countStartingWith("Waiting for process to stop millisecondsElapsed="));
    EXPECT_EQ(1u, log.withMessage("Waiting for process to stop millisecondsElapsed=2400").size());
    EXPECT_EQ("INFO", log.only("Asked process to stop gracefully millisecondsElapsed=2500").level);
}

TEST_F(StopRequestClientTest, KilledTargetsPidFileIsCleanedUp) {
    os.files.addFile(kPidFile, "77");
    EXPECT_EQ(L"Launcher with PID=77 was forced to stop and its PID-file was removed\n",
              stop(kPidFile, 0UL).second);
    EXPECT_TRUE(os.process.sleeps.empty());
    EXPECT_FALSE(os.files.hasFile(kPidFile));
    EXPECT_EQ(
        1u,
        log.withMessage("PID-file of another instance was removed pidFilePath=/run/l.pid").size());

    os.files.addDirectory(kPidFile);
    const std::wstring notRemoved =
        L"Launcher with PID=77 was forced to stop but its PID-file was not removed\n";
    EXPECT_EQ(notRemoved, stop(kPidFile, 0UL).second);
    os.files.addFile(L"/run/other.pid", "77");
    os.files.failOn(L"/run/other.pid");
    EXPECT_EQ(notRemoved, stop(L"/run/other.pid", 0UL).second);
    EXPECT_EQ(L"Launcher with PID=77 was forced to stop\n", stop(L"/run/gone.pid", 0UL).second);
}

TEST_F(StopRequestClientTest, PidFileOfTheTargetIsFoundOnlyAfterFourDashes) {
    target.commandLine = {L"/opt/launcher", L"start", L"--pidfile", kPidFile};
    EXPECT_EQ(L"", target.getPidFilePath());
    target.commandLine = {L"/opt/launcher", L"----pidfile"};
    EXPECT_EQ(L"", target.getPidFilePath());
    target.commandLine = {};
    EXPECT_EQ(L"", target.getPidFilePath());
    EXPECT_EQ(1u, log.withMessage("Cannot read pid file path of another instance").size());

    target.commandLine = {L"/opt/launcher", L"start", L"----pidfile", kPidFile};
    os.files.addFile(kPidFile, "77");
    EXPECT_EQ(L"Launcher with PID=77 was forced to stop and its PID-file was removed\n",
              stop(L"", 0UL).second);
}

TEST_F(StopRequestClientTest, PidFileNoLauncherHoldsSendsNoSignal) {
    os.files.addFile(kPidFile, "77");
    EXPECT_EQ(11, stop(kPidFile, 1000UL, true).first);
    EXPECT_EQ(0, target.asked);
    // The same number given with --pid is believed.
    target.pollsWhileRunning = 0;
    EXPECT_EQ(0, stop(kPidFile, 1000UL, false).first);
    EXPECT_EQ(1, target.asked);
}

TEST_F(StopRequestClientTest, CheckBeforeStartKeepsOnlyAFileARunningLauncherHolds) {
    EXPECT_EQ(L"started", check());
    EXPECT_EQ(1u, log.withMessage("Old PID-file is absent pidFilePath=/run/l.pid").size());

    // Bad format, a dead process, a live one that is no launcher: all stale.
    os.files.addFile(L"/proc/12/status", "Name: bash");
    for (const char* content : {"12\n", "13", "12"}) {
        os.files.addFile(kPidFile, content);
        EXPECT_EQ(L"started", check());
        EXPECT_FALSE(os.files.hasFile(kPidFile)) << content;
    }
    EXPECT_EQ(1u, log.withMessage("PID-file exists and has unsupported format, delete it "
                                  "formatError=\"Illegal characters in PID file '/run/l.pid'\", "
                                  "pidFilePath=/run/l.pid")
                      .size());

    os.files.addFile(kPidFile, "12");
    lock.lockedByOthers.insert(kPidFile);
    EXPECT_EQ(L"3 PID file exists and the process with PID referenced there is running", check());
    EXPECT_EQ("12", os.files.contentOf(kPidFile));

    lock.lockedByOthers.clear();
    os.files.failOn(kPidFile);
    EXPECT_EQ(
        L"3 PID file '/run/l.pid' exists and cannot be deleted. Error: Cannot delete file "
        L"'/run/l.pid'. Error: (13) Permission denied",
        check());
}

}  // namespace
