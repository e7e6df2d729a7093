#include "service/LinuxService.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "fakes/FakeSystemUtils.h"
#include "platform/LauncherOsException.h"
#include "service/IServiceObject.h"
#include "support/CapturedLog.h"
#include "support/Catalogue.h"
#include "support/ChildProcess.h"

namespace {

// A service object that records what the wrapper asks of it, and the state then.
class RecordingServiceObject : public IServiceObject {
  public:
    void prepare(IService& service) override { record(L"prepare", service); }
    int32_t run(IService& service) override {
        record(L"run", service);
        if (onRun) {
            onRun(static_cast<LinuxService&>(service));
        }
        return 100;
    }
    void stop(IService& service) override {
        record(L"stop", service);
        static_cast<LinuxService&>(service).stop();  // a second request meanwhile
    }
    void exceptionHandler(const LauncherException& exception) override {
        calls.push_back(L"exceptionHandler " + std::to_wstring(exception.getCode()) + L" " +
                        exception.getMessage());
    }
    void record(const wchar_t* call, IService& service) {
        calls.push_back(call + std::to_wstring(static_cast<LinuxService&>(service).getState()));
    }

    std::vector<std::wstring> calls;
    std::function<void(LinuxService&)> onRun;
};

std::string currentDirectory() {
    char buffer[4096] = {};
    return getcwd(buffer, sizeof buffer) != nullptr ? buffer : "";
}

int daemonFails(int, int) {
    return -1;
}
int daemonStaysHere(int, int) {
    return 0;
}

class LinuxServiceTest : public ::testing::Test {
  protected:
    ScopedCatalogue english;
    CapturedLog log;
    FakeSystemUtils system;
    RecordingServiceObject object;
};

TEST_F(LinuxServiceTest, RunsOnceAndRefusesASecondStart) {
    LinuxService service(object, false, system);
    EXPECT_EQ(100, service.run());
    EXPECT_EQ(LinuxService::kStopped, service.getState());
    EXPECT_EQ(21, service.run());
    EXPECT_EQ((std::vector<std::wstring>{L"prepare1", L"run1"}), object.calls);

    EXPECT_EQ("init", log.withMessage("Starting an application").at(1).function);
    const LogLine refused = log.only("Cannot start service twice.");
    EXPECT_EQ("ERROR", refused.level);
    EXPECT_EQ("LinuxService", refused.className);
    EXPECT_EQ("start", refused.function);
}

TEST_F(LinuxServiceTest, FailingToDaemoniseIsReportedThroughTheServiceObject) {
    system.lastError = L"(11) Resource temporarily unavailable";
    LinuxService service(object, true, system, daemonFails);
    EXPECT_EQ(20, service.run());
    EXPECT_EQ(
        std::vector<std::wstring>{L"exceptionHandler 20 (11) Resource temporarily unavailable"},
        object.calls);
    EXPECT_EQ(LinuxService::kStopped, service.getState());
    EXPECT_EQ("ERROR", log.only("Daemon failed Error=(11) Resource temporarily unavailable").level);
}

// Only a daemon, whose terminal is gone, reports through the service object; in the
// foreground the failure is the entry point's to print.
TEST_F(LinuxServiceTest, RoutineFailureIsPassedOnAndADaemonAlsoReportsIt) {
    object.onRun = [](LinuxService&) { throw LauncherOsException(L"disk on fire"); };
    for (const bool daemon : {false, true}) {
        object.calls.clear();
        LinuxService service(object, daemon, system, daemonStaysHere);
        try {
            service.run();
            ADD_FAILURE() << "expected LauncherException";
        } catch (const LauncherException& e) {
            EXPECT_EQ(20, e.getCode());
            EXPECT_EQ(L"disk on fire", e.getMessage());
        }
        EXPECT_EQ(daemon ? 3u : 2u, object.calls.size());
        EXPECT_EQ(daemon ? LinuxService::kStopped : LinuxService::kRunning, service.getState());
        EXPECT_EQ(daemon ? 1u : 0u,
                  log.withMessage("Launcher has stopped. Error=disk on fire").size());
    }
    EXPECT_EQ(L"exceptionHandler 20 disk on fire", object.calls.back());
}

TEST_F(LinuxServiceTest, StopActsOnlyOnARunningService) {
    LinuxService service(object, false, system);
    service.stop();
    EXPECT_TRUE(object.calls.empty());
    EXPECT_EQ("ERROR", log.only("Trying to stop a service that was not initialized").level);

    object.onRun = [](LinuxService& running) { running.stop(); };
    EXPECT_EQ(100, service.run());
    service.stop();
    EXPECT_EQ((std::vector<std::wstring>{L"prepare1", L"run1", L"stop2"}), object.calls);
    EXPECT_EQ(1u, log.withMessage("Stop request finished").size());
}

// daemon(3) ends the calling process, so this runs in a child and the routine reports
// from the grandchild what it finds.
TEST_F(LinuxServiceTest, DaemonKeepsWorkingDirectoryAndStreams) {
    struct stat outBefore {};
    ASSERT_EQ(0, fstat(STDOUT_FILENO, &outBefore));
    const std::string cwdBefore = currentDirectory();
    int pipeFds[2];
    ASSERT_EQ(0, pipe(pipeFds));
    const ChildResult child = runInChild([&] {
        close(pipeFds[0]);
        object.onRun = [&](LinuxService& service) {
            struct stat outAfter {};
            fstat(STDOUT_FILENO, &outAfter);
            const std::string report =
                std::string(outAfter.st_ino == outBefore.st_ino ? "o" : "-") +
                (currentDirectory() == cwdBefore ? "c" : "-") +
                (getsid(0) == getpid() ? "s" : "-") + (service.isDaemon() ? "d" : "-");
            (void)!write(pipeFds[1], report.data(), report.size());
        };
        LinuxService(object, true, system).run();
        return std::string();
    });
    close(pipeFds[1]);
    EXPECT_EQ(0, child.exitCode);
    char report[5] = {};
    for (ssize_t got = 0, n = 1; got < 4 && n > 0; got += n) {
        n = read(pipeFds[0], report + got, 4 - got);
    }
    close(pipeFds[0]);
    EXPECT_STREQ("ocsd", report);
}

}  // namespace
