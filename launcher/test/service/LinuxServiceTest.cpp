#include "service/LinuxService.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "fakes/FakeSystemUtils.h"
#include "platform/LauncherException.h"
#include "platform/LauncherOsException.h"
#include "service/IServiceObject.h"
#include "support/CapturedLog.h"
#include "support/Catalogue.h"
#include "support/ForkedProcess.h"

namespace {

// A service object that records what the wrapper asks of it.
class RecordingServiceObject : public IServiceObject {
  public:
    void prepare(IService& service) override {
        calls.push_back(L"prepare");
        stateSeen.push_back(static_cast<LinuxService&>(service).getState());
    }
    int32_t run(IService& service) override {
        calls.push_back(L"run");
        if (onRun) {
            onRun(static_cast<LinuxService&>(service));
        }
        return exitCode;
    }
    void stop(IService& service) override {
        calls.push_back(L"stop");
        stateSeen.push_back(static_cast<LinuxService&>(service).getState());
        if (onStop) {
            onStop(static_cast<LinuxService&>(service));
        }
    }
    void exceptionHandler(const LauncherException& exception) override {
        calls.push_back(L"exceptionHandler");
        handled.push_back(exception);
    }

    std::vector<std::wstring> calls;
    std::vector<uint32_t> stateSeen;
    std::vector<LauncherException> handled;
    std::function<void(LinuxService&)> onRun;
    std::function<void(LinuxService&)> onStop;
    int32_t exitCode = 0;
};

int daemonFails(int, int) {
    errno = EAGAIN;
    return -1;
}
int daemonSucceedsInPlace(int, int) {
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
    object.exitCode = 100;
    LinuxService service(object, false, system);
    EXPECT_EQ(100, service.run());
    EXPECT_EQ(LinuxService::kStopped, service.getState());
    EXPECT_EQ((std::vector<std::wstring>{L"prepare", L"run"}), object.calls);
    EXPECT_EQ(LinuxService::kRunning, object.stateSeen.at(0));

    EXPECT_EQ(21, service.run());
    EXPECT_EQ(2u, object.calls.size());

    EXPECT_EQ(2u, log.withMessage("Starting an application").size());
    EXPECT_EQ("init", log.withMessage("Starting an application")[0].function);
    EXPECT_EQ("start", log.only("start finished").function);
    const LogLine refused = log.only("Cannot start service twice.");
    EXPECT_EQ("ERROR", refused.level);
    EXPECT_EQ("LinuxService", refused.className);
    EXPECT_EQ("start", refused.function);
}

TEST_F(LinuxServiceTest, FailingToDaemoniseIsReportedThroughTheServiceObject) {
    system.lastError = L"(11) Resource temporarily unavailable";
    LinuxService service(object, true, system, daemonFails);
    EXPECT_EQ(20, service.run());
    EXPECT_EQ(std::vector<std::wstring>{L"exceptionHandler"}, object.calls);
    ASSERT_EQ(1u, object.handled.size());
    EXPECT_EQ(20, object.handled[0].getCode());
    EXPECT_EQ(L"(11) Resource temporarily unavailable", object.handled[0].getMessage());
    EXPECT_EQ(LinuxService::kStopped, service.getState());
    EXPECT_EQ("ERROR", log.only("Daemon failed Error=(11) Resource temporarily unavailable").level);
    EXPECT_EQ(21, service.run());
}

TEST_F(LinuxServiceTest, RoutineFailureInTheForegroundOnlyPassesThrough) {
    object.onRun = [](LinuxService&) { throw LauncherOsException(L"disk on fire"); };
    LinuxService service(object, false, system);
    try {
        service.run();
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(20, e.getCode());
        EXPECT_EQ(L"disk on fire", e.getMessage());
    }
    EXPECT_EQ((std::vector<std::wstring>{L"prepare", L"run"}), object.calls);
    EXPECT_EQ(LinuxService::kRunning, service.getState());
    for (const LogLine& line : log.lines()) {
        EXPECT_EQ(std::string::npos, line.message.find("Launcher has stopped."))
            << "the foreground failure is main's to report";
    }
}

TEST_F(LinuxServiceTest, RoutineFailureAsADaemonIsHandledAndPassedOn) {
    object.onRun = [](LinuxService&) { throw LauncherException(3, L"pid file gone"); };
    LinuxService service(object, true, system, daemonSucceedsInPlace);
    try {
        service.run();
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(3, e.getCode());
        EXPECT_EQ(L"pid file gone", e.getMessage());
    }
    EXPECT_EQ((std::vector<std::wstring>{L"prepare", L"run", L"exceptionHandler"}), object.calls);
    ASSERT_EQ(1u, object.handled.size());
    EXPECT_EQ(L"pid file gone", object.handled[0].getMessage());
    EXPECT_EQ(LinuxService::kStopped, service.getState());
    EXPECT_EQ("ERROR", log.only("Launcher has stopped. Error=pid file gone").level);
}

TEST_F(LinuxServiceTest, StopActsOnlyOnARunningService) {
    LinuxService service(object, false, system);
    service.stop();
    EXPECT_TRUE(object.calls.empty());
    EXPECT_EQ(LinuxService::kNotStarted, service.getState());
    EXPECT_EQ("ERROR", log.only("Trying to stop a service that was not initialized").level);

    // A second request while the first is being handed over is ignored.
    object.onStop = [](LinuxService& running) { running.stop(); };
    object.onRun = [](LinuxService& running) { running.stop(); };
    EXPECT_EQ(0, service.run());
    EXPECT_EQ((std::vector<std::wstring>{L"prepare", L"run", L"stop"}), object.calls);
    EXPECT_EQ(LinuxService::kStopping, object.stateSeen.at(1));

    service.stop();
    EXPECT_EQ(3u, object.calls.size());
    EXPECT_EQ(1u, log.withMessage("Stop requested").size());
    EXPECT_EQ(1u, log.withMessage("Stop request finished").size());
}

// Runs for real in a child: daemon(3) ends the calling process, and the routine goes
// on in a grandchild that tells the test through a pipe what it finds.
TEST_F(LinuxServiceTest, DaemonKeepsWorkingDirectoryAndStreams) {
    int pipeFds[2];
    ASSERT_EQ(0, pipe(pipeFds));
    struct stat outBefore {};
    ASSERT_EQ(0, fstat(STDOUT_FILENO, &outBefore));
    char cwdBefore[4096];
    ASSERT_NE(nullptr, getcwd(cwdBefore, sizeof cwdBefore));

    ForkedProcess child([&] {
        close(pipeFds[0]);
        object.onRun = [&](LinuxService& service) {
            struct stat outAfter {};
            char cwdAfter[4096] = {};
            const bool sameOut = fstat(STDOUT_FILENO, &outAfter) == 0 &&
                                 outAfter.st_ino == outBefore.st_ino &&
                                 outAfter.st_dev == outBefore.st_dev;
            const bool sameCwd =
                getcwd(cwdAfter, sizeof cwdAfter) != nullptr && std::string(cwdAfter) == cwdBefore;
            const char report[] = {sameOut ? 'o' : '-', sameCwd ? 'c' : '-',
                                   getsid(0) == getpid() ? 's' : '-',
                                   service.isDaemon() ? 'd' : '-'};
            (void)!write(pipeFds[1], report, sizeof report);
        };
        LinuxService service(object, true, system);
        _exit(service.run());
    });
    close(pipeFds[1]);
    const int status = child.join();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    char report[5] = {};
    ssize_t got = 0;
    while (got < 4) {
        const ssize_t n = read(pipeFds[0], report + got, 4 - got);
        if (n <= 0) {
            break;
        }
        got += n;
    }
    close(pipeFds[0]);
    EXPECT_STREQ("ocsd", report);
}

}  // namespace
