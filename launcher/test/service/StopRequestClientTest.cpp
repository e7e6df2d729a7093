#include "service/StopRequestClient.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fakes/FakeConsole.h"
#include "fakes/FakeFileLock.h"
#include "fakes/FakeOsUtilsFactory.h"
#include "support/CapturedLog.h"
#include "support/Catalogue.h"

namespace {

const std::wstring kPidFile = L"/run/l.pid";

// A target process as a test scripts it: process 77.
class ScriptedTarget : public StopRequestClient {
  public:
    using StopRequestClient::StopRequestClient;

    bool isRunning() override { return pollsWhileRunning < 0 || pollsWhileRunning-- > 0; }
    std::vector<std::wstring> getCommandLine() override { return {}; }
    int askToStop(bool) override { return askResult; }
    int terminateProcess() override {
        ++terminations;
        return terminateResult;
    }
    int32_t getTargetPid() const override { return 77; }

    int askResult = kStoppedGracefully;
    int pollsWhileRunning = -1;  // below 0: runs for ever
    int terminateResult = kKilled;
    int terminations = 0;
};

class StopRequestClientTest : public ::testing::Test {
  protected:
    StopRequestClientTest() { os.files.addDirectory(L"/run"); }

    // The exit code and what the user read on standard error.
    std::pair<int32_t, std::wstring> stop(const std::wstring& pidFile,
                                          SimpleOptional<unsigned long> timeout) {
        FakeConsole console;
        const int32_t code = target.stopAndReport(pidFile, false, timeout, false, console);
        return {code, console.err()};
    }

    ScopedCatalogue english;
    CapturedLog log;
    FakeOsUtilsFactory os;
    FakeFileLock lock{os.files};
    ScriptedTarget target{os, lock};
};

TEST_F(StopRequestClientTest, EachOutcomeHasItsTextAndExitCode) {
    os.files.addFile(kPidFile, "77");
    os.files.addDirectory(L"/run/dir.pid");
    os.files.addFile(L"/run/denied.pid", "77");
    os.files.failOn(L"/run/denied.pid");
    const std::wstring forced = L"Launcher with PID=77 was forced to stop";
    const struct {
        int asked;
        std::wstring pidFile;
        int32_t code;
        std::wstring text;
    } cases[] = {
        {StopRequestClient::kNotFound, L"", 11,
         L"Launcher with PID=77 not found, nothing was stopped\n"},
        // No line end: the way this message has always been printed.
        {StopRequestClient::kNotPermitted, L"", 12,
         L"Launcher is not permitted to stop process with PID=77"},
        {9, L"", 21, L""},
        // A timeout of 0 kills at once; the PID file is cleaned up after the kill.
        {StopRequestClient::kStillRunning, kPidFile, 0,
         forced + L" and its PID-file was removed\n"},
        {StopRequestClient::kStillRunning, L"/run/dir.pid", 0,
         forced + L" but its PID-file was not removed\n"},
        {StopRequestClient::kStillRunning, L"/run/denied.pid", 0,
         forced + L" but its PID-file was not removed\n"},
        {StopRequestClient::kStillRunning, L"/run/gone.pid", 0, forced + L"\n"},
    };
    for (const auto& c : cases) {
        target.askResult = c.asked;
        EXPECT_EQ(std::make_pair(c.code, c.text), stop(c.pidFile, 0UL));
    }
    EXPECT_FALSE(os.files.hasFile(kPidFile));
    EXPECT_EQ(std::vector<std::string>{"INFO PID-file of another instance was removed "
                                       "pidFilePath=/run/l.pid"},
              log.find("PID-file of another instance was removed"));
    EXPECT_TRUE(os.process.sleeps.empty());

    target.terminateResult = StopRequestClient::kStillRunning;
    EXPECT_EQ(std::make_pair(12, std::wstring(L"Launcher with PID=77 is still exist regardless of "
                                              L"killing attempt\n")),
              stop(L"", 250UL));
    EXPECT_EQ(std::vector<long>(3, 100), os.process.sleeps);
}

TEST_F(StopRequestClientTest, WithoutTimeoutItPollsUntilTheTargetIsGoneAndNeverKills) {
    target.pollsWhileRunning = 25;
    EXPECT_EQ(std::make_pair(0, std::wstring(L"Launcher with PID=77 stopped gracefully\n")),
              stop(kPidFile, {}));
    EXPECT_EQ(std::vector<long>(25, 100), os.process.sleeps);
    EXPECT_EQ(0, target.terminations);
    const std::vector<std::string> waits = log.find("Waiting for process to stop ");
    ASSERT_EQ(25u, waits.size());
    EXPECT_EQ("INFO Waiting for process to stop millisecondsElapsed=2400", waits.back());
    EXPECT_EQ(std::vector<std::string>{"INFO Asked process to stop gracefully "
                                       "millisecondsElapsed=2500"},
              log.find("Asked process to stop gracefully"));
}

}  // namespace
