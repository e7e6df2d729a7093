#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/ForkedProcess.h"
#include "support/LogLines.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"

// Start mode through the real launcher binary and a real JVM: how each stop
// signal, each way the Java side ends and each class-path shape shows up in the
// exit code, the console, the log and the PID file.
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 20s;

bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds limit = kPatience) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        if (condition()) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(20ms);
    }
}

// The "key=value" lines the Svc* fixture classes append to their report file.
class Report {
  public:
    explicit Report(std::string path) : path_(std::move(path)) {}

    std::vector<std::pair<std::string, std::string>> facts() const {
        std::vector<std::pair<std::string, std::string>> facts;
        for (const std::string& line : splitLines(readWholeFile(path_))) {
            const size_t equals = line.find('=');
            if (equals != std::string::npos) {
                facts.emplace_back(line.substr(0, equals), line.substr(equals + 1));
            }
        }
        return facts;
    }
    bool has(const std::string& key) const { return count(key) > 0; }
    size_t count(const std::string& key) const {
        const auto all = facts();
        return std::count_if(all.begin(), all.end(),
                             [&](const auto& fact) { return fact.first == key; });
    }
    // The first value of the key; empty when it was never reported.
    std::string value(const std::string& key) const {
        for (const auto& fact : facts()) {
            if (fact.first == key) {
                return fact.second;
            }
        }
        return std::string();
    }
    std::string text() const { return readWholeFile(path_); }

  private:
    std::string path_;
};

// The messages of a launcher log, key/value pairs included, in file order.
std::vector<std::string> logMessages(const std::string& path) {
    std::vector<std::string> messages;
    for (const LogLine& line : parseLogLines(readWholeFile(path))) {
        messages.push_back(line.message);
    }
    return messages;
}

// Index of the first message that starts with the text; the size when none does.
size_t findMessage(const std::vector<std::string>& messages, const std::string& prefix,
                   size_t from = 0) {
    for (size_t i = from; i < messages.size(); ++i) {
        if (messages[i].rfind(prefix, 0) == 0) {
            return i;
        }
    }
    return messages.size();
}

// True once the process has ended, reaped or not yet.
bool hasEnded(pid_t pid) {
    const std::string stat = readWholeFile("/proc/" + std::to_string(pid) + "/stat");
    const size_t paren = stat.rfind(')');
    return paren == std::string::npos || stat.compare(paren, 3, ") Z") == 0;
}

// A process that is certainly gone: forked, ended and reaped.
pid_t deadPid() {
    ForkedProcess child([] {});
    child.join();
    return child.pid();
}

// Makes this test process the reaper of the launcher's daemon, so that the
// daemon's own exit status can be waited for once the launcher it split from
// has ended. A daemon that a failed test leaves behind is killed.
class DaemonReaper {
  public:
    DaemonReaper() { active_ = prctl(PR_SET_CHILD_SUBREAPER, 1) == 0; }
    ~DaemonReaper() {
        for (pid_t pid : adopted_) {
            kill(pid, SIGKILL);
            int status = 0;
            waitpid(pid, &status, 0);
        }
        prctl(PR_SET_CHILD_SUBREAPER, 0);
    }
    DaemonReaper(const DaemonReaper&) = delete;
    DaemonReaper& operator=(const DaemonReaper&) = delete;
    bool active() const { return active_; }

    void adopt(pid_t pid) { adopted_.push_back(pid); }

    // The wait status of the daemon, or -1 when it is not our child or outlives the
    // limit (then it is killed).
    int waitForExit(pid_t pid, std::chrono::milliseconds limit = kPatience) {
        adopted_.erase(std::remove(adopted_.begin(), adopted_.end(), pid), adopted_.end());
        const auto deadline = std::chrono::steady_clock::now() + limit;
        for (;;) {
            int status = 0;
            const pid_t got = waitpid(pid, &status, WNOHANG);
            if (got == pid) {
                return status;
            }
            if (got < 0 && errno != EINTR) {
                return -1;
            }
            if (std::chrono::steady_clock::now() >= deadline) {
                kill(pid, SIGKILL);
                waitpid(pid, &status, 0);
                return -1;
            }
            std::this_thread::sleep_for(20ms);
        }
    }

  private:
    bool active_ = false;
    std::vector<pid_t> adopted_;
};

std::string describeStatus(int status) {
    if (status == -1) {
        return "no exit seen";
    }
    if (WIFEXITED(status)) {
        return "exit " + std::to_string(WEXITSTATUS(status));
    }
    return "signal " + std::to_string(WTERMSIG(status));
}

class DaemonThroughLauncherTest : public ::testing::Test {
  protected:
    DaemonThroughLauncherTest() {
        dir_.mkdir("lib");
        std::filesystem::copy_file(JVM_FIXTURE_JAR, dir_.path("lib/fixtures.jar"));
    }

    // A start of the launcher with the fixture jar on the class path, its log and
    // PID file in the test's directory; the fixture reports to the report file.
    ProcessRunner launcher(const std::string& mainClass, std::vector<std::string> extra = {},
                           const std::string& classPath = "lib/*.jar",
                           const std::string& logName = "launcher.log") const {
        std::vector<std::string> args = {"start",
                                         "--javahome",
                                         JVM_TEST_JAVA_HOME,
                                         "--jclasspath",
                                         classPath,
                                         "--jifaceclass",
                                         mainClass,
                                         "--clog",
                                         dir_.path(logName),
                                         "--pidfile",
                                         pidPath(),
                                         "--jvmopt",
                                         "-Dsvc.report=" + dir_.path("report")};
        args.insert(args.end(), extra.begin(), extra.end());
        ProcessRunner runner(LAUNCHER_BINARY);
        runner.args(args)
            .workingDirectory(dir_.path())
            .env("LC_ALL", "C")
            .unsetEnv("JVM_OPTS")
            .unsetEnv("JAVA_HOME")
            .timeout(30s);
        return runner;
    }

    std::string logPath() const { return dir_.path("launcher.log"); }
    std::string pidPath() const { return dir_.path("launcher.pid"); }
    std::vector<std::string> log() const { return logMessages(logPath()); }
    std::string logText() const { return readWholeFile(logPath()); }
    Report report() const { return Report(dir_.path("report")); }
    // Waits until the contract's start method runs in the launcher process pid; false
    // at once when that process ends first.
    bool waitForStart(pid_t pid) const {
        eventually([&] { return report().has("start") || hasEnded(pid); });
        return report().has("start");
    }
    // The level of the first log line whose message starts with the text.
    std::string levelOf(const std::string& prefix) const {
        for (const LogLine& line : parseLogLines(logText())) {
            if (line.message.rfind(prefix, 0) == 0) {
                return line.level;
            }
        }
        return "absent";
    }

    // Waits for the daemon that a launcher with --daemon split into to write its
    // PID file over what was there before; 0 when it does not.
    pid_t daemonPid(DaemonReaper& reaper, pid_t before = 0) const {
        pid_t pid = 0;
        if (!eventually([&] {
                pid = std::atoi(readWholeFile(pidPath()).c_str());
                return pid > 0 && pid != before;
            })) {
            return 0;
        }
        reaper.adopt(pid);
        return pid;
    }

    TempDir dir_;
};

TEST_F(DaemonThroughLauncherTest, SimpleStopInTheForegroundEndsWithZero) {
    ProcessRunner::Running running = launcher("contract.SvcService").start();
    ASSERT_TRUE(waitForStart(running.pid())) << logText();
    EXPECT_EQ(std::to_string(running.pid()), readWholeFile(pidPath()));

    // A second launcher on the same PID file is refused while the first one runs.
    ProcessRunner::Result second =
        launcher("contract.SvcService", {}, "lib/*.jar", "second.log").run();
    EXPECT_EQ(3, second.exitCode) << second.out << second.err;
    EXPECT_EQ("PID file exists and the process with PID referenced there is running\n", second.err);
    EXPECT_EQ(std::to_string(running.pid()), readWholeFile(pidPath()));

    ASSERT_TRUE(running.signal(SIGUSR1));
    ProcessRunner::Result result = running.wait();
    EXPECT_EQ(0, result.exitCode) << result.err << logText();
    EXPECT_EQ(
        "launcher started (launcher 3.10.5+8, x86-64), PID=" + std::to_string(running.pid()) + "\n",
        result.out);
    EXPECT_EQ("", result.err);

    const Report facts = report();
    EXPECT_EQ("launcher-start-thread", facts.value("start")) << facts.text();
    EXPECT_EQ("false", facts.value("start.daemon"));
    EXPECT_EQ("launcher-stop-thread", facts.value("stop"));
    EXPECT_FALSE(facts.has("stopFast"));
    EXPECT_TRUE(facts.has("start.returns"));

    const std::vector<std::string> messages = log();
    const size_t event = findMessage(messages, "Got an event. stopType=simple stop");
    const size_t spawn = findMessage(
        messages, "Service start method is not finished yet. Spawning stop. stopType=simple stop");
    const size_t end = findMessage(messages, "Normal exit exitCode=0");
    EXPECT_LT(event, spawn) << logText();
    EXPECT_LT(spawn, end);
    EXPECT_LT(end, messages.size());
    EXPECT_FALSE(pathExists(pidPath()));
}

TEST_F(DaemonThroughLauncherTest, FastStopInTheForegroundCallsStopFastAndEndsWithZero) {
    ProcessRunner::Running running = launcher("contract.SvcService").start();
    ASSERT_TRUE(waitForStart(running.pid())) << logText();
    ASSERT_TRUE(running.signal(SIGUSR2));
    ProcessRunner::Result result = running.wait();
    EXPECT_EQ(0, result.exitCode) << result.err << logText();

    const Report facts = report();
    EXPECT_EQ("launcher-stop-thread", facts.value("stopFast")) << facts.text();
    EXPECT_FALSE(facts.has("stop"));
    const std::vector<std::string> messages = log();
    EXPECT_LT(findMessage(messages, "Got an event. stopType=stop fast"),
              findMessage(messages,
                          "Service start method is not finished yet. Spawning stop. "
                          "stopType=fast stop"))
        << logText();
    EXPECT_LT(findMessage(messages, "Normal exit exitCode=0"), messages.size());
}

TEST_F(DaemonThroughLauncherTest, DaemonStopsEndWithOneHundredOrTwoHundred) {
    DaemonReaper reaper;
    ASSERT_TRUE(reaper.active());
    struct Case {
        int signal;
        int exitCode;
        const char* method;
        const char* other;
    };
    for (const Case& c :
         {Case{SIGUSR1, 100, "stop", "stopFast"}, Case{SIGUSR2, 200, "stopFast", "stop"}}) {
        SCOPED_TRACE(c.method);
        std::filesystem::remove(dir_.path("report"));
        // Left behind by a launcher that is gone: the new one takes the file over.
        const pid_t stale = deadPid();
        dir_.write("launcher.pid", std::to_string(stale));

        ProcessRunner::Running running = launcher("contract.SvcService", {"--daemon"}).start();
        const ProcessRunner::Result first = running.wait();
        EXPECT_EQ(0, first.exitCode) << first.err;
        EXPECT_EQ("", first.out);
        const pid_t pid = daemonPid(reaper, stale);
        ASSERT_GT(pid, 0) << logText();
        ASSERT_TRUE(waitForStart(pid)) << logText();

        // Written after the split: the daemon's own PID, the one Java sees.
        EXPECT_NE(running.pid(), pid);
        EXPECT_EQ(std::to_string(pid), report().value("start.pid"));
        EXPECT_EQ("true", report().value("start.daemon"));

        ASSERT_EQ(0, kill(pid, c.signal));
        const int status = reaper.waitForExit(pid);
        EXPECT_EQ("exit " + std::to_string(c.exitCode), describeStatus(status)) << logText();
        EXPECT_EQ("launcher-stop-thread", report().value(c.method)) << report().text();
        EXPECT_FALSE(report().has(c.other));
        EXPECT_LT(findMessage(log(), "Normal exit exitCode=" + std::to_string(c.exitCode)),
                  log().size());
        EXPECT_FALSE(pathExists(pidPath()));
    }
}

TEST_F(DaemonThroughLauncherTest, FailedStopFastOfADaemonEndsWith209) {
    DaemonReaper reaper;
    ASSERT_TRUE(reaper.active());
    ProcessRunner::Running running =
        launcher("contract.SvcService", {"--daemon", "--jvmopt", "-Dsvc.stopFastFails=true",
                                         "--cerr", dir_.path("stderr.txt")})
            .start();
    EXPECT_EQ(0, running.wait().exitCode);
    const pid_t pid = daemonPid(reaper);
    ASSERT_GT(pid, 0) << logText();
    ASSERT_TRUE(waitForStart(pid)) << logText();

    ASSERT_EQ(0, kill(pid, SIGUSR2));
    EXPECT_EQ("exit 209", describeStatus(reaper.waitForExit(pid))) << logText();
    EXPECT_TRUE(report().has("start.returns"));

    const std::string failure =
        "Service stop method failed: Java exception while invoking contract/SvcService.stopFast: "
        "java.lang.IllegalStateException: SvcService refuses to stop fast";
    EXPECT_EQ(0u, readWholeFile(dir_.path("stderr.txt")).rfind(failure, 0))
        << readWholeFile(dir_.path("stderr.txt"));
    const std::string log = logText();
    EXPECT_NE(std::string::npos, log.find(",func=exceptionHandler,message=" + failure)) << log;
    EXPECT_NE(std::string::npos, log.find("message=Launcher has stopped. Error='" + failure));
    EXPECT_NE(std::string::npos, log.find("exitCode=209"));
    EXPECT_FALSE(pathExists(pidPath()));
}

TEST_F(DaemonThroughLauncherTest, StartMethodThatReturnsAtOnceEndsWithZeroWithoutAStopCall) {
    ProcessRunner::Result result =
        launcher("contract.SvcService", {"--jvmopt", "-Dsvc.start=return"}).run();
    EXPECT_EQ(0, result.exitCode) << result.err << logText();
    EXPECT_EQ("", result.err);

    const Report facts = report();
    EXPECT_TRUE(facts.has("start")) << facts.text();
    EXPECT_FALSE(facts.has("stop"));
    EXPECT_FALSE(facts.has("stopFast"));
    const std::vector<std::string> messages = log();
    EXPECT_LT(findMessage(messages, "Java start method finished"), messages.size()) << logText();
    EXPECT_EQ(messages.size(), findMessage(messages, "Service start method is not finished yet."));
    EXPECT_LT(findMessage(messages, "Normal exit exitCode=0"), messages.size());
}

TEST_F(DaemonThroughLauncherTest, FastStopWithoutStopFastWaitsForASimpleStop) {
    ProcessRunner::Running running = launcher("contract.SvcSimpleOnly").start();
    ASSERT_TRUE(waitForStart(running.pid())) << logText();
    ASSERT_TRUE(running.signal(SIGUSR2));
    // Both requests at once would leave the loop with nothing to do, so the second
    // one waits until the first was turned down.
    ASSERT_TRUE(eventually([&] {
        return findMessage(log(), "Service stop method not fount.") < log().size();
    })) << logText();
    EXPECT_FALSE(report().has("stop"));

    ASSERT_TRUE(running.signal(SIGUSR1));
    ProcessRunner::Result result = running.wait();
    EXPECT_EQ(0, result.exitCode) << result.err << logText();
    EXPECT_EQ("launcher-stop-thread", report().value("stop")) << report().text();
    const std::vector<std::string> messages = log();
    const size_t refused = findMessage(messages, "Service stop method not fount.");
    EXPECT_LT(findMessage(messages, "Got an event. stopType=stop fast"), refused);
    EXPECT_LT(refused, findMessage(messages, "Got an event. stopType=simple stop", refused));
}

TEST_F(DaemonThroughLauncherTest, SystemExitInJavaEndsTheLauncherWithTheJvmCode) {
    ProcessRunner::Result result =
        launcher("contract.SvcService", {"--jvmopt", "-Dsvc.start=exit:42"}).run();
    EXPECT_EQ(42, result.exitCode) << result.err << logText();
    const std::vector<std::string> messages = log();
    const size_t exited = findMessage(messages, "JVM exited with nonzero exit code pid=" +
                                                    report().value("start.pid") + ", exitCode=42");
    EXPECT_LT(exited, messages.size()) << logText();
    EXPECT_LT(findMessage(messages, "JVM exited", exited + 1), messages.size());
}

TEST_F(DaemonThroughLauncherTest, StartMethodThatThrowsEndsWithEightAndTheJavaText) {
    ProcessRunner::Result result =
        launcher("contract.SvcService", {"--jvmopt", "-Dsvc.start=throw"}).run();
    EXPECT_EQ(8, result.exitCode) << result.err << logText();
    EXPECT_EQ(0u, result.err.rfind("Java exception while invoking contract/SvcService.start: "
                                   "java.lang.IllegalStateException: SvcService refuses to start\n",
                                   0))
        << result.err;
    EXPECT_NE(std::string::npos, result.err.find("contract.SvcService.start(SvcService.java:"));
    EXPECT_FALSE(pathExists(pidPath()));
}

TEST_F(DaemonThroughLauncherTest, ClassPathWildcardsResolveInOrderAheadOfTheJvmOptions) {
    dir_.write("lib/notes.txt", "not a jar");
    dir_.write("lib/extra.jar", "");
    dir_.mkdir("conf");
    dir_.write("conf/app.properties", "a=1");
    dir_.write("conf/log.xml", "<x/>");
    dir_.mkdir("conf/nested");
    dir_.write("top.txt", "");
    dir_.mkdir("mods");
    std::filesystem::copy_file(JVM_FIXTURE_JAR, dir_.path("mods/svcmods.jar"));

    // An empty entry, a missing directory and a mask without matches add nothing;
    // a bare file name is looked for in the working directory.
    ProcessRunner::Running running =
        launcher("contract.SvcService", {"--jmodulepath", "mods", "--jvmopt", "-Dsvc.marker=last"},
                 "lib/*.jar::missing/*.jar:conf/:lib/*.none:top.txt")
            .start();
    ASSERT_TRUE(waitForStart(running.pid())) << logText();
    ASSERT_TRUE(running.signal(SIGINT));
    ProcessRunner::Result result = running.wait();
    EXPECT_EQ(0, result.exitCode) << result.err << logText();
    EXPECT_EQ("launcher-stop-thread", report().value("stop")) << report().text();

    std::vector<std::string> jvmArguments;
    const std::string prefix = "JVM argument JVM argument='";
    for (const std::string& message : log()) {
        if (message.rfind(prefix, 0) == 0 && message.back() == '\'') {
            jvmArguments.push_back(
                message.substr(prefix.size(), message.size() - prefix.size() - 1));
        }
    }
    ASSERT_EQ(4u, jvmArguments.size()) << logText();
    EXPECT_EQ("--module-path=" + dir_.path("mods/svcmods.jar"), jvmArguments[0]);
    EXPECT_EQ("-Dsvc.report=" + dir_.path("report"), jvmArguments[2]);
    EXPECT_EQ("-Dsvc.marker=last", jvmArguments[3]);

    const std::string classPathOption = "-Djava.class.path=";
    ASSERT_EQ(0u, jvmArguments[1].rfind(classPathOption, 0)) << jvmArguments[1];
    std::vector<std::string> classPath;
    std::string rest = jvmArguments[1].substr(classPathOption.size());
    for (size_t colon; (colon = rest.find(':')) != std::string::npos; rest.erase(0, colon + 1)) {
        classPath.push_back(rest.substr(0, colon));
    }
    classPath.push_back(rest);
    ASSERT_EQ(5u, classPath.size()) << jvmArguments[1];
    // Within a directory the order is the directory's own; across entries it is theirs.
    std::vector<std::string> jars(classPath.begin(), classPath.begin() + 2);
    std::sort(jars.begin(), jars.end());
    EXPECT_EQ((std::vector<std::string>{dir_.path("lib/extra.jar"), dir_.path("lib/fixtures.jar")}),
              jars);
    std::vector<std::string> conf(classPath.begin() + 2, classPath.begin() + 4);
    std::sort(conf.begin(), conf.end());
    EXPECT_EQ(
        (std::vector<std::string>{dir_.path("conf/app.properties"), dir_.path("conf/log.xml")}),
        conf);
    EXPECT_EQ(dir_.path("top.txt"), classPath[4]);

    EXPECT_EQ("WARN", levelOf("Skipping empty file mask")) << logText();
    EXPECT_EQ("INFO", levelOf("Directory for pattern does not exist directory=missing, "
                              "pattern=missing/*.jar"));
    EXPECT_EQ("INFO", levelOf("The mask does not match any file in the directory mask=*.none"));
}

TEST_F(DaemonThroughLauncherTest, PathsThatCannotBeResolvedEndWithTwoBeforeAnyJvm) {
    struct Case {
        std::vector<std::string> extra;
        std::string classPath;
        std::string message;
        // A line the log must hold as well; empty for none.
        std::string logLine;
    };
    const std::vector<Case> cases = {
        {{},
         "lib*/fixtures.jar",
         "Only file names can contain wildcards, directory paths must not: 'lib*/fixtures.jar'",
         ""},
        // Backslashes count as separators, and "?" as a wildcard.
        {{},
         "lib?\\fixtures.jar",
         "Only file names can contain wildcards, directory paths must not: 'lib?\\fixtures.jar'",
         ""},
        {{},
         "missing/*.jar:lib/*.none",
         "Classpath was set but no files meet the mask. Search path: missing/*.jar:lib/*.none",
         "Directory for pattern does not exist directory=missing, pattern=missing/*.jar"},
        // A mask right under the root is looked for in "/" itself.
        {{},
         "/launcher-test-absent-*.jar",
         "Classpath was set but no files meet the mask. Search path: /launcher-test-absent-*.jar",
         "The mask does not match any file in the directory mask=launcher-test-absent-*.jar"},
        {{"--jmodulepath", "lib/*.none"},
         "lib/*.jar",
         "Modulepath was set but no files meet the mask. Search path: lib/*.none",
         ""},
        {{}, "lib/[.jar", "Cannot read file '[.jar'. Error: ", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.classPath);
        ProcessRunner::Result result = launcher("contract.SvcService", c.extra, c.classPath).run();
        EXPECT_EQ(2, result.exitCode) << result.out << result.err;
        EXPECT_EQ(0u, result.err.rfind(c.message, 0)) << result.err;
        if (!c.logLine.empty()) {
            EXPECT_LT(findMessage(log(), c.logLine), log().size()) << logText();
        }
        EXPECT_FALSE(report().has("start"));
        EXPECT_EQ(std::string::npos, logText().find("JVM library loaded")) << logText();
        // The PID file was written before the paths were resolved, and is gone again.
        EXPECT_NE(std::string::npos, logText().find("message=PID saved"));
        EXPECT_FALSE(pathExists(pidPath()));
    }
}

}  // namespace
