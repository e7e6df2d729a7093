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

// A target process as a test scripts it: process 77.
class ScriptedTarget : public StopRequestClient {
  public:
    using StopRequestClient::StopRequestClient;

    bool isRunning() override { return true; }
    std::vector<std::wstring> getCommandLine() override { return {}; }
    int askToStop(bool) override { return askResult; }
    // The kernel drops a killed process's locks.
    int terminateProcess() override {
        fakeLock->holders.clear();
        return terminateResult;
    }
    int32_t getTargetPid() const override { return 77; }

    int askResult = kStoppedGracefully;
    int terminateResult = kKilled;
    FakeFileLock* fakeLock = nullptr;
};

class StopRequestClientTest : public ::testing::Test {
  protected:
    StopRequestClientTest() {
        os.files.addDirectory(L"/run");
        target.fakeLock = &lock;
    }

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
    os.files.addDirectory(L"/run/dir.pid");
    os.files.addFile(L"/run/denied.pid", "77");
    os.files.failOn(L"/run/denied.pid");
    // Only the file its launcher held is removed after the kill.
    os.files.addFile(L"/run/held.pid", "77");
    os.files.addFile(L"/run/foreign.pid", "77");
    const std::wstring forced = L"Launcher with PID=77 was forced to stop";
    const struct {
        int asked;
        std::wstring pidFile;
        int32_t code;
        std::wstring text;
    } cases[] = {
        // No line end: the way this message has always been printed (the binary test of
        // it needs root).
        {StopRequestClient::kNotPermitted, L"", 12,
         L"Launcher is not permitted to stop process with PID=77"},
        {9, L"", 21, L""},
        // A timeout of 0 kills at once; the PID file is cleaned up after the kill.
        {StopRequestClient::kStillRunning, L"/run/dir.pid", 0,
         forced + L" but its PID-file was not removed\n"},
        {StopRequestClient::kStillRunning, L"/run/denied.pid", 0,
         forced + L" but its PID-file was not removed\n"},
        {StopRequestClient::kStillRunning, L"/run/gone.pid", 0, forced + L"\n"},
        {StopRequestClient::kStillRunning, L"/run/held.pid", 0,
         forced + L" and its PID-file was removed\n"},
        {StopRequestClient::kStillRunning, L"/run/foreign.pid", 0,
         forced + L" but its PID-file was not removed\n"},
    };
    for (const auto& c : cases) {
        target.askResult = c.asked;
        lock.holders = {{L"/run/held.pid", 77}, {L"/run/foreign.pid", 78}};
        EXPECT_EQ(std::make_pair(c.code, c.text), stop(c.pidFile, 0UL));
    }
    EXPECT_TRUE(os.process.sleeps.empty());

    target.terminateResult = StopRequestClient::kStillRunning;
    EXPECT_EQ(std::make_pair(12, std::wstring(L"Launcher with PID=77 is still exist regardless of "
                                              L"killing attempt\n")),
              stop(L"", 250UL));
    EXPECT_EQ(std::vector<long>(3, 100), os.process.sleeps);
}

}  // namespace
