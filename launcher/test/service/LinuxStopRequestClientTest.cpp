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

// A process to stop: the setup runs first, then it waits for signals.
std::unique_ptr<ForkedProcess> startTarget(const std::function<void()>& setup) {
    int ready[2];
    EXPECT_EQ(0, pipe(ready));
    auto target = std::make_unique<ForkedProcess>([&] {
        close(ready[0]);
        setup();
        (void)!write(ready[1], "r", 1);
        for (;;) {
            pause();
        }
    });
    close(ready[1]);
    char c = 0;
    EXPECT_EQ(1, read(ready[0], &c, 1));
    close(ready[0]);
    return target;
}

// Ends with the number of the stop signal it gets.
std::unique_ptr<ForkedProcess> startStoppableTarget() {
    return startTarget([] {
        signal(SIGUSR1, exitWithSignalNumber);
        signal(SIGUSR2, exitWithSignalNumber);
    });
}

bool stillRunning(ForkedProcess& process) {
    int status = 0;
    return waitpid(process.pid(), &status, WNOHANG) == 0;
}

class LinuxStopRequestClientTest : public ::testing::Test {
  protected:
    // Reaps the target as soon as it ends, as its parent would; until then the
    // kernel keeps it visible.
    // The reaper must be joined before the target goes.
    void reapWhenDone(ForkedProcess& target) {
        reaper = std::thread([&target] { target.join(); });
    }

    ScopedCatalogue english;
    IOsUtilsFactory& os = getOsUtilsFactory();
    IFileLock& lock = getFileLock();
    FakeConsole console;
    std::thread reaper;
};

TEST_F(LinuxStopRequestClientTest, SimpleAndFastStopsSendTheirOwnSignals) {
    for (const bool fast : {false, true}) {
        auto target = startStoppableTarget();
        LinuxStopRequestClient client(os, lock, target->pid());
        EXPECT_TRUE(client.isRunning());
        EXPECT_EQ(StopRequestClient::kStoppedGracefully, client.askToStop(fast));
        const int status = target->join();
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(fast ? 12 : 10, WEXITSTATUS(status));

        EXPECT_FALSE(client.isRunning());
        EXPECT_EQ(StopRequestClient::kNotFound, client.askToStop(fast));
    }
    // Never a process group, never everyone.
    EXPECT_EQ(StopRequestClient::kNotFound, LinuxStopRequestClient(os, lock, 0).askToStop(false));
    EXPECT_EQ(StopRequestClient::kNotFound, LinuxStopRequestClient(os, lock, -1).askToStop(true));
}

TEST_F(LinuxStopRequestClientTest, StopModeAgainstRealProcesses) {
    auto graceful = startStoppableTarget();
    reapWhenDone(*graceful);
    LinuxStopRequestClient first(os, lock, graceful->pid());
    EXPECT_EQ(0, first.stopAndReport(L"", false, 5000UL, false, console));
    EXPECT_EQ(L"Launcher with PID=" + std::to_wstring(graceful->pid()) + L" stopped gracefully\n",
              console.err());
    reaper.join();

    auto stubborn = startTarget([] { signal(SIGUSR1, SIG_IGN); });
    console = FakeConsole();
    LinuxStopRequestClient second(os, lock, stubborn->pid());
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(0, second.stopAndReport(L"", false, 300UL, false, console));
    EXPECT_GE(std::chrono::steady_clock::now() - started, 300ms);
    EXPECT_EQ(L"Launcher with PID=" + std::to_wstring(stubborn->pid()) + L" was forced to stop\n",
              console.err());
    const int status = stubborn->join();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
}

TEST_F(LinuxStopRequestClientTest, ProcessOfAnotherUserIsNotPermitted) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to act as another user";
    }
    auto target = startStoppableTarget();
    const pid_t pid = target->pid();
    const ChildResult result = runInChild([&] {
        if (setuid(65534) != 0) {
            return std::string("setuid failed");
        }
        FakeConsole childConsole;
        LinuxStopRequestClient client(os, lock, pid);
        const int code = client.stopAndReport(L"", false, 100UL, false, childConsole);
        return std::to_string(code) + "|" + toUtf8(childConsole.err());
    });
    EXPECT_EQ("12|Launcher is not permitted to stop process with PID=" + std::to_string(pid),
              result.output);
    EXPECT_TRUE(stillRunning(*target));
}

TEST_F(LinuxStopRequestClientTest, PidFilePathIsReadFromTheTargetsCommandLine) {
    auto target = std::make_unique<ForkedProcess>([] {
        execl("/bin/sh", "/bin/sh", "-c", "kill -STOP $$", "----pidfile", "/run/x.pid",
              static_cast<char*>(nullptr));
    });
    LinuxStopRequestClient client(os, lock, target->pid());
    std::wstring found;
    for (int i = 0; i < 200 && found.empty(); ++i) {
        std::this_thread::sleep_for(10ms);
        found = client.getPidFilePath();
    }
    EXPECT_EQ(L"/run/x.pid", found);
    EXPECT_EQ(L"/bin/sh", client.getCommandLine().at(0));

    kill(target->pid(), SIGKILL);
    target->join();
    EXPECT_TRUE(client.getCommandLine().empty());
}

// A number in a PID file that no launcher holds any more may be anyone's by now.
TEST_F(LinuxStopRequestClientTest, StrangerNamedInAStalePidFileIsLeftAlone) {
    TempDir dir;
    auto stranger = startStoppableTarget();
    dir.write("launcher.pid", std::to_string(stranger->pid()));

    LinuxStopRequestClient client(os, lock, stranger->pid());
    EXPECT_EQ(11, client.stopAndReport(dir.wpath("launcher.pid"), true, 100UL, false, console));
    EXPECT_NO_THROW(
        StopRequestClient::checkClientLauncherIsNotRunning(os, lock, dir.wpath("launcher.pid")));
    EXPECT_FALSE(pathExists(dir.path("launcher.pid")));
    std::this_thread::sleep_for(50ms);
    EXPECT_TRUE(stillRunning(*stranger)) << "the stranger got a stop signal";
}

TEST_F(LinuxStopRequestClientTest, LauncherHoldingItsPidFileBlocksAStartAndIsStopped) {
    TempDir dir;
    const std::wstring path = dir.wpath("launcher.pid");
    auto launcher = startTarget([&] {
        signal(SIGUSR1, exitWithSignalNumber);
        static PidFile pidFile(getOsUtilsFactory(), getFileLock(), path);
        pidFile.savePid();
    });
    try {
        StopRequestClient::checkClientLauncherIsNotRunning(os, lock, path);
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(3, e.getCode());
    }

    reapWhenDone(*launcher);
    LinuxStopRequestClient client(os, lock, launcher->pid());
    EXPECT_EQ(0, client.stopAndReport(path, true, 5000UL, false, console));
    reaper.join();
}

// Two launchers started at once on one PID file, one of them stale: one runs, the
// other is refused with code 3.
TEST_F(LinuxStopRequestClientTest, TwoStartsAtTheSameInstant) {
    TempDir dir;
    const std::wstring path = dir.wpath("launcher.pid");
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
                char go;
                (void)!read(start[0], &go, 1);
                char outcome = 'x';
                try {
                    StopRequestClient::checkClientLauncherIsNotRunning(os, lock, path);
                    static PidFile pidFile(os, lock, path);
                    pidFile.savePid();
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
        close(start[1]);
        close(results[1]);
        std::string outcomes;
        char c;
        while (outcomes.size() < 2 && read(results[0], &c, 1) == 1) {
            outcomes += c;
        }
        close(results[0]);
        std::sort(outcomes.begin(), outcomes.end());
        EXPECT_EQ("3r", outcomes);
    }
}

}  // namespace
