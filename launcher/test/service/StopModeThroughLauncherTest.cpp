#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/LogLines.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;

const std::string kLauncher = LAUNCHER_BINARY;

// The process state letter of /proc/<pid>/stat, or 0 when there is no such process.
char processState(pid_t pid) {
    const std::string stat = readWholeFile("/proc/" + std::to_string(pid) + "/stat");
    const size_t paren = stat.rfind(')');
    return paren == std::string::npos || paren + 2 >= stat.size() ? 0 : stat[paren + 2];
}

bool isAlive(pid_t pid) {
    const char state = processState(pid);
    return state != 0 && state != 'Z' && state != 'X';
}

bool logHasLine(const std::string& logPath, const std::string& className,
                const std::string& message) {
    for (const LogLine& line : parseLogLines(readWholeFile(logPath))) {
        if (line.className == className && line.message == message) {
            return true;
        }
    }
    return false;
}

ProcessRunner::Result stopCommand(std::vector<std::string> options,
                                  std::chrono::milliseconds limit = 20s) {
    options.insert(options.begin(), "stop");
    return ProcessRunner(kLauncher)
        .argv0("launcher")
        .args(std::move(options))
        .env("LC_ALL", "C")
        .timeout(limit)
        .run();
}

struct ServiceOptions {
    bool hangInStop = false;
    // Where the launcher starts; a relative --pidfile is taken from here.
    std::string startDirectory = "/";
    std::vector<std::string> moreArgs;
};

// A launcher in start mode running contract.StoppableService, left running in the
// background. Its end is awaited on a thread of its own from the start, so it is
// reaped the moment it exits: a zombie keeps its /proc entry and would look alive to
// the stop mode under test.
class ServiceLauncher {
  public:
    ServiceLauncher(const TempDir& dir, const std::string& name, const std::string& pidFile,
                    const ServiceOptions& options = ServiceOptions())
        : pidFile_(pidFile.rfind('/', 0) == 0 ? pidFile : options.startDirectory + "/" + pidFile),
          factsPath_(dir.path(name + ".facts")),
          logPath_(dir.path(name + ".log")),
          process_(launcherRunner(pidFile, options).start()),
          end_(std::async(std::launch::async, [this] { return process_.wait(); })) {}

    ~ServiceLauncher() {
        if (end_.valid()) {
            if (!hasEnded()) {
                ::kill(process_.pid(), SIGKILL);
            }
            end_.wait();
        }
    }
    ServiceLauncher(const ServiceLauncher&) = delete;
    ServiceLauncher& operator=(const ServiceLauncher&) = delete;

    pid_t pid() const { return process_.pid(); }
    std::string pidText() const { return std::to_string(pid()); }
    const std::string& logPath() const { return logPath_; }
    // What reached the Java side so far, one word a line.
    std::string facts() const { return readWholeFile(factsPath_); }

    bool hasEnded() const {
        return result_.has_value() || end_.wait_for(0s) == std::future_status::ready;
    }

    // Until the PID file names this launcher and its start method has been entered.
    testing::AssertionResult waitUntilServing() {
        const auto deadline = std::chrono::steady_clock::now() + 60s;
        while (std::chrono::steady_clock::now() < deadline) {
            if (hasEnded()) {
                const ProcessRunner::Result& end = result();
                return testing::AssertionFailure()
                       << "the launcher ended with " << end.exitCode
                       << " before serving: " << end.out << end.err << readWholeFile(logPath_);
            }
            if (readWholeFile(pidFile_) == pidText() && facts() == "start\n") {
                return testing::AssertionSuccess();
            }
            std::this_thread::sleep_for(20ms);
        }
        return testing::AssertionFailure() << "not serving after 60 s: " << readWholeFile(logPath_);
    }

    // How the launcher ended; one that has not ended within the limit is killed.
    const ProcessRunner::Result& result(std::chrono::milliseconds limit = 20s) {
        if (!result_) {
            if (end_.wait_for(limit) != std::future_status::ready) {
                ::kill(process_.pid(), SIGKILL);
            }
            result_ = end_.get();
        }
        return *result_;
    }

  private:
    ProcessRunner launcherRunner(const std::string& pidFile, const ServiceOptions& options) const {
        std::vector<std::string> args{
            "start",
            "--javahome",
            JVM_TEST_JAVA_HOME,
            "--jclasspath",
            JVM_FIXTURE_JAR,
            "--jifaceclass",
            "contract.StoppableService",
            "--jvmopt",
            "-Dstoppable.facts=" + factsPath_,
            "--jvmopt",
            std::string("-Dstoppable.hangInStop=") + (options.hangInStop ? "true" : "false"),
            "--pidfile",
            pidFile,
            "--clog",
            logPath_};
        args.insert(args.end(), options.moreArgs.begin(), options.moreArgs.end());
        ProcessRunner runner(kLauncher);
        runner.argv0("launcher")
            .args(std::move(args))
            .env("LC_ALL", "C")
            .unsetEnv("JVM_OPTS")
            .workingDirectory(options.startDirectory)
            .timeout(120s);
#if defined(__SANITIZE_ADDRESS__)
        // HotSpot handles SIGSEGV itself, and its threads are still alive when the
        // leak check would run at exit.
        runner.env("ASAN_OPTIONS", "detect_leaks=0:handle_segv=0");
#endif
        return runner;
    }

    std::string pidFile_;
    std::string factsPath_;
    std::string logPath_;
    ProcessRunner::Running process_;
    std::future<ProcessRunner::Result> end_;
    std::optional<ProcessRunner::Result> result_;
};

// What every graceful stop must leave behind: the target ended normally after its
// stop method ran, and took its PID file with it.
void expectStoppedGracefully(const ProcessRunner::Result& stop, ServiceLauncher& service,
                             const std::string& pidFile, const std::string& expectedFacts) {
    EXPECT_EQ(0, stop.exitCode) << stop.out << stop.err;
    EXPECT_EQ("Launcher with PID=" + service.pidText() + " stopped gracefully\n", stop.err);
    EXPECT_EQ("", stop.out);
    // Graceful means gone already: no later clean-up may be needed to remove the file.
    EXPECT_FALSE(pathExists(pidFile));
    EXPECT_EQ(expectedFacts, service.facts());
    const ProcessRunner::Result& end = service.result();
    EXPECT_EQ(0, end.exitCode) << end.out << end.err;
    EXPECT_EQ(0, end.signal);
}

// A PID file may outlive its launcher and name whatever process got the number later;
// only a file a running launcher holds is taken at its word.
TEST(StopModeThroughLauncherTest, APidFileNamingAnotherProgramIsNeitherObeyedNorSignalled) {
    TempDir dir;
    const std::string pidFile = dir.path("service.pid");
    ProcessRunner::Running sleeper = ProcessRunner("/bin/sleep").args({"30"}).start();
    const std::string sleeperPid = std::to_string(sleeper.pid());
    dir.write("service.pid", sleeperPid);

    const ProcessRunner::Result refused =
        stopCommand({"--pidfile", pidFile, "--clog", dir.path("refused.log")});
    EXPECT_EQ(11, refused.exitCode);
    EXPECT_EQ("Launcher with PID=" + sleeperPid + " not found, nothing was stopped\n", refused.err);
    EXPECT_TRUE(logHasLine(dir.path("refused.log"), "main",
                           "A stop request was sent to another launcher instance pidToStop=" +
                               sleeperPid + ", timeoutMillis=IsNotSet"))
        << readWholeFile(dir.path("refused.log"));
    EXPECT_TRUE(isAlive(sleeper.pid())) << processState(sleeper.pid());

    ServiceLauncher service(dir, "service", pidFile);
    ASSERT_TRUE(service.waitUntilServing());
    EXPECT_TRUE(isAlive(sleeper.pid())) << processState(sleeper.pid());
    EXPECT_NE(std::string::npos,
              readWholeFile(service.logPath())
                  .find("Process referenced in PID-file belongs to another program, delete old "
                        "PID-file pid=" +
                        sleeperPid + ", pidFilePath=" + pidFile))
        << readWholeFile(service.logPath());

    const ProcessRunner::Result stop = stopCommand({"--pidfile", pidFile});
    expectStoppedGracefully(stop, service, pidFile, "start\nstop\n");
    EXPECT_TRUE(isAlive(sleeper.pid()));
}

// The second launcher also moves to another working directory while its PID file was
// given relative to where it started: the file it removes at the end must be the one
// it wrote.
TEST(StopModeThroughLauncherTest, ByPidOrFastByARelativePidFileTheRightStopMethodRuns) {
    TempDir dir;
    dir.mkdir("work");
    ServiceLauncher byPid(dir, "by-pid", dir.path("by-pid.pid"));
    ServiceOptions elsewhere;
    elsewhere.startDirectory = dir.path();
    elsewhere.moreArgs = {"--workdir", dir.path("work")};
    ServiceLauncher fast(dir, "fast", "fast.pid", elsewhere);
    ASSERT_TRUE(byPid.waitUntilServing());
    ASSERT_TRUE(fast.waitUntilServing());

    expectStoppedGracefully(stopCommand({"--pid", byPid.pidText()}), byPid, dir.path("by-pid.pid"),
                            "start\nstop\n");
    EXPECT_FALSE(fast.hasEnded());

    const ProcessRunner::Result stop = ProcessRunner(kLauncher)
                                           .argv0("launcher")
                                           .args({"stop", "--pidfile", "fast.pid", "--fast"})
                                           .env("LC_ALL", "C")
                                           .workingDirectory(dir.path())
                                           .timeout(20s)
                                           .run();
    expectStoppedGracefully(stop, fast, dir.path("fast.pid"), "start\nstopFast\n");
}

TEST(StopModeThroughLauncherTest, AHungStopMethodIsWaitedForUntilTheTimeoutThenKilled) {
    TempDir dir;
    const std::string pidFile = dir.path("hung.pid");
    ServiceOptions hanging;
    hanging.hangInStop = true;
    ServiceLauncher service(dir, "hung", pidFile, hanging);
    ASSERT_TRUE(service.waitUntilServing());

    // Without a timeout the stop mode waits as long as the target lives.
    const ProcessRunner::Result patient = stopCommand({"--pidfile", pidFile}, 1s);
    EXPECT_TRUE(patient.timedOut) << patient.exitCode << patient.err;
    EXPECT_FALSE(service.hasEnded());
    EXPECT_EQ(service.pidText(), readWholeFile(pidFile));

    const auto asked = std::chrono::steady_clock::now();
    const ProcessRunner::Result forced =
        stopCommand({"--pidfile", pidFile, "--timeout", "500", "--clog", dir.path("stop.log")});
    EXPECT_GE(std::chrono::steady_clock::now() - asked, 500ms);
    EXPECT_EQ(0, forced.exitCode) << forced.err;
    EXPECT_EQ("Launcher with PID=" + service.pidText() +
                  " was forced to stop and its PID-file was removed\n",
              forced.err);
    EXPECT_FALSE(pathExists(pidFile));
    EXPECT_TRUE(logHasLine(dir.path("stop.log"), "main",
                           "A stop request was sent to another launcher instance pidToStop=" +
                               service.pidText() + ", timeoutMillis=500"))
        << readWholeFile(dir.path("stop.log"));

    EXPECT_EQ(SIGKILL, service.result().signal);
    EXPECT_EQ("start\nstop\n", service.facts());
}

TEST(StopModeThroughLauncherTest, NothingIsStoppedWhereNoLauncherRuns) {
    TempDir dir;
    ProcessRunner::Running gone = ProcessRunner("/bin/true").start();
    const std::string gonePid = std::to_string(gone.pid());
    ASSERT_EQ(0, gone.wait().exitCode);

    const std::string notFound =
        "Launcher with PID=" + gonePid + " not found, nothing was stopped\n";
    const ProcessRunner::Result byPid = stopCommand({"--pid", gonePid, "--timeout", "500"});
    EXPECT_EQ(11, byPid.exitCode);
    EXPECT_EQ(notFound, byPid.err);

    // The file of a launcher that died without cleaning up.
    dir.write("dead.pid", gonePid);
    const ProcessRunner::Result byFile = stopCommand({"--pidfile", dir.path("dead.pid")});
    EXPECT_EQ(11, byFile.exitCode);
    EXPECT_EQ(notFound, byFile.err);
}

TEST(StopModeThroughLauncherTest, AnotherUsersLauncherIsNotStopped) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to run the stop mode as another user";
    }
    const std::string setpriv = "/usr/bin/setpriv";
    if (::access(setpriv.c_str(), X_OK) != 0 || ::getpwnam("nobody") == nullptr) {
        GTEST_SKIP() << "needs " << setpriv << " and the user nobody";
    }
    TempDir dir;
    // A copy the unprivileged user can reach wherever the build tree lies.
    ASSERT_EQ(0, ::chmod(dir.path().c_str(), 0755));
    const std::string launcher = dir.path("launcher");
    std::filesystem::copy_file(kLauncher, launcher);

    ServiceLauncher service(dir, "root", dir.path("root.pid"));
    ASSERT_TRUE(service.waitUntilServing());

    const ProcessRunner::Result denied =
        ProcessRunner(setpriv)
            .args({"--reuid=nobody", "--regid=nogroup", "--clear-groups", launcher, "stop", "--pid",
                   service.pidText(), "--timeout", "500"})
            .env("LC_ALL", "C")
            .timeout(20s)
            .run();
    EXPECT_EQ(12, denied.exitCode) << denied.out << denied.err;
    EXPECT_EQ("Launcher is not permitted to stop process with PID=" + service.pidText(),
              denied.err);
    EXPECT_FALSE(service.hasEnded());
    EXPECT_EQ("start\n", service.facts());

    expectStoppedGracefully(stopCommand({"--pid", service.pidText()}), service,
                            dir.path("root.pid"), "start\nstop\n");
}

TEST(StopModeThroughLauncherTest, OfTwoLaunchersStartedAtOnceOnOnePidFileOneRuns) {
    TempDir dir;
    const std::string pidFile = dir.path("shared.pid");
    ServiceLauncher first(dir, "first", pidFile);
    ServiceLauncher second(dir, "second", pidFile);

    const auto deadline = std::chrono::steady_clock::now() + 60s;
    const auto bothServe = [&] {
        return first.facts() == "start\n" && second.facts() == "start\n";
    };
    while (!first.hasEnded() && !second.hasEnded() && !bothServe() &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(20ms);
    }
    ASSERT_NE(first.hasEnded(), second.hasEnded()) << "expected exactly one to give up";
    ServiceLauncher& loser = first.hasEnded() ? first : second;
    ServiceLauncher& winner = first.hasEnded() ? second : first;

    const ProcessRunner::Result& refused = loser.result();
    EXPECT_EQ(3, refused.exitCode) << refused.out << refused.err;
    EXPECT_EQ("PID file exists and the process with PID referenced there is running\n",
              refused.err);
    EXPECT_EQ("", loser.facts());

    ASSERT_TRUE(winner.waitUntilServing());
    // The loser's way out must not have taken the winner's file.
    EXPECT_EQ(winner.pidText(), readWholeFile(pidFile));
    expectStoppedGracefully(stopCommand({"--pidfile", pidFile}), winner, pidFile, "start\nstop\n");
}

}  // namespace
