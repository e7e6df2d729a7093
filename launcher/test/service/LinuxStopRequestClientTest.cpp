#include "service/LinuxStopRequestClient.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "fakes/FakeConsole.h"
#include "platform/IFileLock.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "service/PidFile.h"
#include "support/Catalogue.h"
#include "support/ChildProcess.h"
#include "support/ForkedProcess.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;

void exitWithSignalNumber(int signalNumber) {
    _exit(signalNumber);
}

// A process to stop: the setup runs first, then it waits for signals; a stop signal
// ends it with the signal's number unless the setup says otherwise.
std::unique_ptr<ForkedProcess> startTarget(const std::function<void()>& setup = [] {}) {
    int ready[2];
    EXPECT_EQ(0, pipe(ready));
    auto target = std::make_unique<ForkedProcess>([&] {
        signal(SIGUSR1, exitWithSignalNumber);
        signal(SIGUSR2, exitWithSignalNumber);
        setup();
        (void)!write(ready[1], "r", 1);
        for (;;) {
            pause();
        }
    });
    char c = 0;
    EXPECT_EQ(1, read(ready[0], &c, 1));
    close(ready[0]);
    close(ready[1]);
    return target;
}

bool stillRunning(ForkedProcess& process) {
    int status = 0;
    return waitpid(process.pid(), &status, WNOHANG) == 0;
}

class LinuxStopRequestClientTest : public ::testing::Test {
  protected:
    int32_t stop(ForkedProcess& target, const std::wstring& pidFile, bool pidFromPidFile,
                 unsigned long timeout) {
        // A target stays visible until reaped, as its parent would do at once.
        std::thread reaper([&] { target.join(); });
        const int32_t code = LinuxStopRequestClient(os, lock, target.pid())
                                 .stopAndReport(pidFile, pidFromPidFile, timeout, false, console);
        if (code != 0) {
            kill(target.pid(), SIGKILL);
        }
        reaper.join();
        return code;
    }
    std::wstring pidText(ForkedProcess& target) { return std::to_wstring(target.pid()); }

    ScopedCatalogue english;
    IOsUtilsFactory& os = getOsUtilsFactory();
    IFileLock& lock = getFileLock();
    FakeConsole console;
    TempDir dir;
    std::wstring pidFile = dir.wpath("launcher.pid");
};

TEST_F(LinuxStopRequestClientTest, SimpleAndFastStopsSendTheirOwnSignals) {
    for (const bool fast : {false, true}) {
        auto target = startTarget();
        LinuxStopRequestClient client(os, lock, target->pid());
        EXPECT_TRUE(client.isRunning());
        EXPECT_EQ(StopRequestClient::kStoppedGracefully, client.askToStop(fast));
        const int status = target->join();
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == (fast ? 12 : 10));
        EXPECT_FALSE(client.isRunning());
        EXPECT_EQ(StopRequestClient::kNotFound, client.askToStop(fast));
    }
    // Never a process group, never everyone.
    EXPECT_EQ(StopRequestClient::kNotFound, LinuxStopRequestClient(os, lock, 0).askToStop(false));
    EXPECT_EQ(StopRequestClient::kNotFound, LinuxStopRequestClient(os, lock, -1).askToStop(true));
}

// A container's first process may never collect an ended launcher; its zombie must
// not hold a stop (or a later start) until the timeout, or for ever without one.
TEST_F(LinuxStopRequestClientTest, AZombieHasEnded) {
    ForkedProcess zombie([] {});
    siginfo_t info{};
    ASSERT_EQ(0, waitid(P_PID, static_cast<id_t>(zombie.pid()), &info, WEXITED | WNOWAIT));
    LinuxStopRequestClient client(os, lock, zombie.pid());
    EXPECT_FALSE(client.isRunning());
    EXPECT_EQ(0, client.stopAndReport(L"", false, 5000UL, false, console));
    EXPECT_EQ(L"Launcher with PID=" + pidText(zombie) + L" stopped gracefully\n", console.err());
}

TEST_F(LinuxStopRequestClientTest, TargetIgnoringTheStopIsKilledAfterTheTimeout) {
    auto stubborn = startTarget([] { signal(SIGUSR1, SIG_IGN); });
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(0, LinuxStopRequestClient(os, lock, stubborn->pid())
                     .stopAndReport(L"", false, 300UL, false, console));
    EXPECT_GE(std::chrono::steady_clock::now() - started, 300ms);
    EXPECT_EQ(L"Launcher with PID=" + pidText(*stubborn) + L" was forced to stop\n", console.err());
    const int status = stubborn->join();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
}

TEST_F(LinuxStopRequestClientTest, ProcessOfAnotherUserIsNotPermitted) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to act as another user";
    }
    auto target = startTarget();
    const ChildResult result = runInChild([&] {
        if (setuid(65534) != 0) {
            return std::string("setuid failed");
        }
        const int code = LinuxStopRequestClient(os, lock, target->pid())
                             .stopAndReport(L"", false, 100UL, false, console);
        return std::to_string(code) + "|" + toUtf8(console.err());
    });
    EXPECT_EQ("12|Launcher is not permitted to stop process with PID=" + toUtf8(pidText(*target)),
              result.output);
    EXPECT_TRUE(stillRunning(*target));
}

TEST_F(LinuxStopRequestClientTest, PidFilePathIsReadFromTheTargetsCommandLine) {
    ForkedProcess target([] {
        execl("/bin/sh", "/bin/sh", "-c", "kill -STOP $$", "----pidfile", "/run/x.pid",
              static_cast<char*>(nullptr));
    });
    LinuxStopRequestClient client(os, lock, target.pid());
    std::wstring found;
    for (int i = 0; i < 200 && found.empty(); ++i) {
        std::this_thread::sleep_for(10ms);
        found = client.getPidFilePath();
    }
    EXPECT_EQ(L"/run/x.pid", found);
    EXPECT_EQ(L"/bin/sh", client.getCommandLine().at(0));
    kill(target.pid(), SIGKILL);
    target.join();
    EXPECT_TRUE(client.getCommandLine().empty());
}

// A number in a PID file that no launcher holds may be anyone's by now: it neither
// blocks a start nor gets signalled. One that a launcher holds does both.
TEST_F(LinuxStopRequestClientTest, PidFileCountsOnlyWhileALauncherHoldsIt) {
    auto stranger = startTarget();
    dir.write("launcher.pid", toUtf8(pidText(*stranger)));
    EXPECT_EQ(11, LinuxStopRequestClient(os, lock, stranger->pid())
                      .stopAndReport(pidFile, true, 100UL, false, console));
    EXPECT_NO_THROW(StopRequestClient::checkClientLauncherIsNotRunning(os, lock, pidFile));
    EXPECT_FALSE(pathExists(dir.path("launcher.pid")));
    std::this_thread::sleep_for(50ms);
    EXPECT_TRUE(stillRunning(*stranger)) << "the stranger got a stop signal";

    auto launcher = startTarget([&] {
        static PidFile own(getOsUtilsFactory(), getFileLock(), pidFile);
        own.savePid();
    });
    try {
        StopRequestClient::checkClientLauncherIsNotRunning(os, lock, pidFile);
        ADD_FAILURE() << "a start beside a running launcher was allowed";
    } catch (const LauncherException& e) {
        EXPECT_EQ(3, e.getCode());
    }
    EXPECT_EQ(0, stop(*launcher, pidFile, true, 5000UL));
    EXPECT_NE(std::wstring::npos, console.err().find(L" stopped gracefully\n"));
}

// Two launchers started at once on one PID file, a stale one: one runs, the other is
// refused with code 3.
TEST_F(LinuxStopRequestClientTest, TwoStartsAtTheSameInstant) {
    for (int round = 0; round < 5; ++round) {
        dir.write("launcher.pid", "999999");
        int start[2];
        int results[2];
        ASSERT_EQ(0, pipe(start));
        ASSERT_EQ(0, pipe(results));
        std::vector<std::unique_ptr<ForkedProcess>> launchers;
        for (int i = 0; i < 2; ++i) {
            launchers.push_back(std::make_unique<ForkedProcess>([&] {
                close(start[1]);
                char outcome = 'r';
                (void)!read(start[0], &outcome, 1);
                try {
                    StopRequestClient::checkClientLauncherIsNotRunning(os, lock, pidFile);
                    static PidFile own(os, lock, pidFile);
                    own.savePid();
                    outcome = 'r';
                } catch (const LauncherException& e) {
                    outcome = static_cast<char>('0' + e.getCode());
                }
                (void)!write(results[1], &outcome, 1);
                for (;;) {
                    pause();
                }
            }));
        }
        close(start[0]);
        close(start[1]);  // all go at once
        close(results[1]);
        std::string outcomes(2, ' ');
        EXPECT_EQ(1, read(results[0], &outcomes[0], 1));
        EXPECT_EQ(1, read(results[0], &outcomes[1], 1));
        close(results[0]);
        std::sort(outcomes.begin(), outcomes.end());
        EXPECT_EQ("3r", outcomes);
    }
}

}  // namespace
