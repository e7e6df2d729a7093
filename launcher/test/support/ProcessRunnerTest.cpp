#include "support/ProcessRunner.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;

ProcessRunner shell(const std::string& script) {
    ProcessRunner runner("/bin/sh");
    runner.args({"-c", script});
    return runner;
}

TEST(ProcessRunnerTest, KeepsOutputErrorAndExitStatusApart) {
    ProcessRunner::Result result = shell("printf 'out\\n'; printf 'err' >&2; exit 3").run();
    EXPECT_EQ("out\n", result.out);
    EXPECT_EQ("err", result.err);
    EXPECT_EQ(3, result.exitCode);
    EXPECT_EQ(0, result.signal);
    EXPECT_FALSE(result.timedOut);

    // More than a pipe holds, on both streams at once, must not dead-lock.
    ProcessRunner::Result big =
        shell("head -c 200000 /dev/zero | tr '\\0' a; head -c 150000 /dev/zero | tr '\\0' b >&2")
            .run();
    EXPECT_EQ(200000u, big.out.size());
    EXPECT_EQ(150000u, big.err.size());
    EXPECT_EQ(0, big.exitCode);
}

TEST(ProcessRunnerTest, PassesArgumentsEnvironmentAndWorkingDirectory) {
    ::setenv("PROCESS_RUNNER_KEPT", "kept", 1);
    ::setenv("PROCESS_RUNNER_DROPPED", "dropped", 1);
    ProcessRunner::Result result =
        ProcessRunner("/bin/sh")
            .args({"-c",
                   "printf '%s|%s|%s|%s|' \"$0\" \"$1\" \"$PROCESS_RUNNER_KEPT\" "
                   "\"$PROCESS_RUNNER_DROPPED\"; printf '%s|%s' \"$ADDED\" \"$(pwd)\"",
                   "zero", "a b"})
            .env("ADDED", "x=y")
            .unsetEnv("PROCESS_RUNNER_DROPPED")
            .workingDirectory("/")
            .run();
    EXPECT_EQ("zero|a b|kept||x=y|/", result.out);

    ProcessRunner::Result empty = shell("printf '%s' \"$PROCESS_RUNNER_KEPT\"").clearEnv().run();
    EXPECT_EQ("", empty.out);

    ProcessRunner::Result named =
        ProcessRunner("/bin/sh").argv0("custom-name").args({"-c", "printf '%s' \"$0\""}).run();
    EXPECT_EQ("custom-name", named.out);
}

TEST(ProcessRunnerTest, TimeLimitKillsAHangInsteadOfBlocking) {
    auto started = std::chrono::steady_clock::now();
    ProcessRunner::Result result = shell("printf started; exec sleep 30").timeout(300ms).run();
    EXPECT_LT(std::chrono::steady_clock::now() - started, 10s);
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(SIGKILL, result.signal);
    EXPECT_EQ(-1, result.exitCode);
    EXPECT_EQ("started", result.out);
}

TEST(ProcessRunnerTest, ReportsDeathBySignalAndDoesNotWaitForProcessesLeftBehind) {
    ProcessRunner::Result killed = shell("kill -TERM $$").run();
    EXPECT_EQ(SIGTERM, killed.signal);
    EXPECT_EQ(-1, killed.exitCode);

    // The background sleep keeps both pipes open long after the shell is gone.
    auto started = std::chrono::steady_clock::now();
    ProcessRunner::Result orphan = shell("sleep 20 & echo $!").timeout(15s).run();
    EXPECT_LT(std::chrono::steady_clock::now() - started, 10s);
    EXPECT_FALSE(orphan.timedOut);
    EXPECT_EQ(0, orphan.exitCode);
    int orphanPid = std::atoi(orphan.out.c_str());
    ASSERT_GT(orphanPid, 0);
    ::kill(orphanPid, SIGKILL);
}

TEST(ProcessRunnerTest, AStartedChildCanBeSignalledBeforeItIsWaitedFor) {
    // The shell ends only through its trap, so the exit code proves the signal arrived.
    TempDir dir;
    const std::string ready = dir.path("ready");
    ProcessRunner::Running running = shell("trap 'printf got; exit 5' USR1; printf ready; : > " +
                                           ready + "; while :; do sleep 0.05; done")
                                         .timeout(10s)
                                         .start();
    ASSERT_GT(running.pid(), 0);
    // The trap must be in place before the signal, or the default action ends the shell.
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!pathExists(ready) && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_TRUE(running.signal(SIGUSR1));
    ProcessRunner::Result result = running.wait();
    EXPECT_EQ(5, result.exitCode);
    EXPECT_EQ("readygot", result.out);
    EXPECT_FALSE(running.signal(SIGUSR1));
    EXPECT_THROW(running.wait(), std::logic_error);

    // One left running when its handle goes is killed, not leaked.
    pid_t abandoned = 0;
    {
        ProcessRunner::Running left = shell("exec sleep 30").start();
        abandoned = left.pid();
    }
    EXPECT_NE(0, ::kill(abandoned, 0));
}

TEST(ProcessRunnerTest, ProgramThatCannotStartThrows) {
    EXPECT_THROW(ProcessRunner("/nonexistent/program").run(), std::runtime_error);
    EXPECT_THROW(ProcessRunner("/bin/sh").workingDirectory("/nonexistent").run(),
                 std::runtime_error);
}

}  // namespace
