#include "service/LinuxStopRequestClient.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "platform/IFileLock.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "service/PidFile.h"
#include "support/Catalogue.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;

class LinuxStopRequestClientTest : public ::testing::Test {
  protected:
    ScopedCatalogue english;
    IOsUtilsFactory& os = getOsUtilsFactory();
    IFileLock& lock = getFileLock();
};

// A kernel thread would take the signal without a word and never end: it is no
// launcher, so it is not found, and nothing is sent to it.
TEST_F(LinuxStopRequestClientTest, AKernelThreadIsNotFoundAndNotSignalled) {
    // kthreadd, where this process sees the kernel's threads at all.
    const std::string stat = readWholeFile("/proc/2/stat");
    if (stat.find("(kthreadd)") == std::string::npos) {
        GTEST_SKIP() << "no kernel thread visible in this PID namespace";
    }
    LinuxStopRequestClient client(os, lock, 2);
    EXPECT_EQ(StopRequestClient::kNotFound, client.stop(300UL, false));
}

// Stop mode given only a PID looks for the PID file in the target's command line: after
// the option with four dashes, which launchers found this way rely on, not after two.
TEST_F(LinuxStopRequestClientTest, PidFilePathIsReadFromTheTargetsCommandLine) {
    ProcessRunner::Running target =
        ProcessRunner("/bin/sh")
            .args({"-c", "sleep 30", "--pidfile", "/run/not.pid", "----pidfile", "/run/x.pid"})
            .start();
    LinuxStopRequestClient client(os, lock, target.pid());
    std::wstring found;
    eventually([&] { return !(found = client.getPidFilePath()).empty(); }, 5s);
    EXPECT_EQ(L"/run/x.pid", found);
    EXPECT_EQ(L"/bin/sh", client.getCommandLine().at(0));
    target.signal(SIGKILL);
    target.wait();
    EXPECT_TRUE(client.getCommandLine().empty());

    // Never a process group, never everyone.
    EXPECT_EQ(StopRequestClient::kNotFound, LinuxStopRequestClient(os, lock, 0).askToStop(false));
    EXPECT_EQ(StopRequestClient::kNotFound, LinuxStopRequestClient(os, lock, -1).askToStop(true));
}

// Two launchers that start at the same instant on one stale PID file: both find it
// stale, yet only one may run; the other is refused with code 3.
TEST_F(LinuxStopRequestClientTest, OfTwoStartsAtTheSameInstantOneIsRefused) {
    TempDir dir;
    const std::wstring pidFile = dir.wpath("launcher.pid");
    for (int round = 0; round < 5; ++round) {
        dir.write("launcher.pid", "999999");
        int go[2];
        int results[2];
        ASSERT_EQ(0, pipe(go));
        ASSERT_EQ(0, pipe(results));
        // Each stays alive after its answer, so that a winner keeps its lock.
        const auto start = [&]() -> std::string {
            close(go[1]);
            char outcome = 'r';
            (void)!read(go[0], &outcome, 1);
            try {
                StopRequestClient::checkClientLauncherIsNotRunning(os, lock, pidFile);
                static PidFile own(os, lock, pidFile);
                own.savePid();
            } catch (const LauncherException& e) {
                outcome = static_cast<char>('0' + e.getCode());
            }
            (void)!write(results[1], &outcome, 1);
            for (;;) {
                pause();
            }
        };
        ProcessRunner::Running first = ProcessRunner(start).start();
        ProcessRunner::Running second = ProcessRunner(start).start();
        close(go[0]);
        close(go[1]);  // both go at once
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
