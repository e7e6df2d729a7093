#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/LauncherRunner.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

// What service managers and containers see of the launcher through the real binary: how
// SIGTERM stops it, how a detached launcher reports back, and the readiness messages.
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 60s;

// `launcher start` of the fixture SvcService with its facts, log and PID file in dir.
struct Service {
    explicit Service(const TempDir& dir, std::vector<std::string> more = {})
        : dir(dir), more(std::move(more)) {}

    std::vector<std::string> args() const {
        // clang-format off
        std::vector<std::string> args = {"start", "--javahome", JVM_TEST_JAVA_HOME,
            "--jclasspath", JVM_FIXTURE_JAR, "--jifaceclass", mainClass,
            "--clog", dir.path("launcher.log"), "--pidfile", dir.path("launcher.pid"),
            "--jvmopt", "-Dsvc.report=" + dir.path("facts")};
        // clang-format on
        args.insert(args.end(), more.begin(), more.end());
        return args;
    }
    ProcessRunner runner() const { return launcherRunner(args(), LAUNCHER_BINARY, kPatience); }

    int count(const std::string& key) const {
        const std::vector<std::string> facts = splitLines(readWholeFile(dir.path("facts")));
        return std::ranges::count_if(facts, [&](const std::string& fact) {
            return fact.starts_with(key + "=") || fact == key;
        });
    }
    std::string value(const std::string& key) const {
        for (const std::string& fact : splitLines(readWholeFile(dir.path("facts")))) {
            if (fact.starts_with(key + "=")) {
                return fact.substr(key.size() + 1);
            }
        }
        return "";
    }
    bool logs(const std::string& message) const {
        const std::vector<LogLine> lines = parseLogLines(readWholeFile(dir.path("launcher.log")));
        return std::ranges::any_of(lines, [&](const LogLine& line) {
            return (line.level + " " + line.message).starts_with(message);
        });
    }
    // The PID of the first log line whose message starts so; empty when there is none.
    std::string pidOf(const std::string& message) const {
        for (const LogLine& line : parseLogLines(readWholeFile(dir.path("launcher.log")))) {
            if (line.message.starts_with(message)) {
                return line.pid;
            }
        }
        return "";
    }
    std::string describe() const {
        return "\nfacts:\n" + readWholeFile(dir.path("facts")) + "log:\n" +
               readWholeFile(dir.path("launcher.log"));
    }

    const TempDir& dir;
    std::vector<std::string> more;
    std::string mainClass = "contract.SvcService";
};

// Whether the process has a handler of its own for the signal.
bool catches(pid_t pid, int signalNumber) {
    for (const std::string& line :
         splitLines(readWholeFile("/proc/" + std::to_string(pid) + "/status"))) {
        if (line.starts_with("SigCgt:")) {
            return (std::stoull(line.substr(7), nullptr, 16) >> (signalNumber - 1) & 1) != 0;
        }
    }
    return false;
}

// The one child of a process, 0 until it has one.
pid_t childOf(pid_t pid) {
    const std::string children = readWholeFile("/proc/" + std::to_string(pid) + "/task/" +
                                               std::to_string(pid) + "/children");
    return children.empty() ? 0 : std::stoi(children);
}

// SIGTERM is what systemd, Docker and Kubernetes stop with. Left to the JVM it ends the
// process without the stop method; taken as a stop request it stops the service
// cleanly, from the moment the options are read, so also while the JVM is created. The
// command line wins over launcher.yml, and a SIGTERM the JVM raises inside its own
// process still goes to the JVM's handler.
TEST(SigtermThroughLauncherTest, ASigtermFromOutsideIsAStopRequestWhenAsked) {
    const struct {
        std::string name;
        std::vector<std::string> options;
        std::string yml;  // the sigterm key of launcher.yml, if any
        bool early;       // sent as soon as the launcher handles it, else once start runs
        int exitCode;
        std::string stopMethod;  // the one called, if any
    } cases[] = {
        {"default", {}, "", false, 143, ""},
        {"jvm", {"--sigterm", "jvm"}, "stop", false, 143, ""},
        {"stop", {"--sigterm", "stop"}, "", false, 0, "stop"},
        {"stop while the JVM is created", {"--sigterm", "stop"}, "", true, 0, "stop"},
        {"fast", {}, "fast", false, 0, "stopFast"},
        {"command line over launcher.yml", {"--sigterm", "stop"}, "fast", false, 0, "stop"},
        {"raised by the JVM",
         {"--sigterm", "stop", "--jvmopt", "-Dsvc.start=raise:TERM"},
         "",
         false,
         143,
         ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        Service svc(dir, c.options);
        if (!c.yml.empty()) {
            dir.write("launcher.yml", "launcher-parameters:\n  sigterm: " + c.yml + "\n");
            svc.more.insert(svc.more.end(), {"--instance", dir.path()});
        }
        ProcessRunner::Running running = svc.runner().start();
        const bool raised = c.name == "raised by the JVM";
        if (!raised) {
            ASSERT_TRUE(eventually(
                [&] {
                    return running.hasEnded() ||
                           (c.early ? catches(running.pid(), SIGTERM) : svc.count("start") > 0);
                },
                kPatience));
            running.signal(SIGTERM);
        }
        const ProcessRunner::Result& end = running.wait();
        EXPECT_EQ(c.exitCode, end.exitCode) << end.err << svc.describe();
        EXPECT_EQ(1, svc.count("start")) << svc.describe();
        EXPECT_EQ(c.stopMethod == "stop" ? 1 : 0, svc.count("stop"));
        EXPECT_EQ(c.stopMethod == "stopFast" ? 1 : 0, svc.count("stopFast"));
        EXPECT_EQ(c.exitCode == 0, svc.logs("INFO SIGTERM has risen")) << svc.describe();
    }
}

// In a container the launcher is the first process of its PID namespace, which the
// kernel sends only the signals it has a handler for.
TEST(SigtermThroughLauncherTest, AsTheFirstProcessOfAPidNamespaceSigtermStopsItCleanly) {
    if (geteuid() != 0 || access("/usr/bin/unshare", X_OK) != 0) {
        GTEST_SKIP() << "needs root and unshare to make a PID namespace";
    }
    TempDir dir;
    const Service svc(dir, {"--sigterm", "stop"});
    std::vector<std::string> args = {"--pid", "--fork", "--mount-proc", LAUNCHER_BINARY};
    const std::vector<std::string> launcherArgs = svc.args();
    args.insert(args.end(), launcherArgs.begin(), launcherArgs.end());
    ProcessRunner::Running unshare = launcherRunner(args, "/usr/bin/unshare", kPatience).start();
    pid_t first = 0;
    ASSERT_TRUE(eventually(
        [&] {
            return unshare.hasEnded() ||
                   ((first = childOf(unshare.pid())) > 0 && svc.count("start") > 0);
        },
        kPatience))
        << svc.describe();
    ASSERT_FALSE(unshare.hasEnded()) << unshare.wait().err << svc.describe();
    // The PID the service sees is its own in the namespace.
    EXPECT_EQ("1", svc.value("start.pid"));
    ASSERT_EQ(0, kill(first, SIGTERM));
    const ProcessRunner::Result& end = unshare.wait();
    EXPECT_EQ(0, end.exitCode) << end.err << svc.describe();
    EXPECT_EQ(1, svc.count("stop"));
    EXPECT_EQ(1, svc.count("start.returns"));
    EXPECT_TRUE(svc.logs("INFO Normal exit exitCode=0")) << svc.describe();
}

// A service manager takes the command's return for "started": with --daemon it comes
// once the PID file names the detached launcher, with --wait once the start method was
// entered, or with the exit code of a detached launcher that could not start the
// service. From the split on, log lines carry the detached launcher's PID. The test
// adopts the detached launcher, as systemd does, to see its exit code.
TEST(DaemonThroughLauncherTest, TheCommandReturnsWhenTheDetachedLauncherCanBeReliedOn) {
    ASSERT_EQ(0, prctl(PR_SET_CHILD_SUBREAPER, 1));
    const struct {
        std::string name;
        std::vector<std::string> options;
        int exitCode;
        std::string err;
    } cases[] = {
        {"daemon", {"--daemon"}, 0, ""},
        {"wait", {"--daemon", "--wait"}, 0, ""},
        {"wait for a class that is not there",
         {"--daemon", "--wait"},
         7,
         "Cannot find Java class contract/Missing\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        Service svc(dir, c.options);
        if (c.exitCode != 0) {
            svc.mainClass = "contract.Missing";
        }
        const ProcessRunner::Result result = svc.runner().run();
        // Looked at right when the command has returned.
        const std::string pidFile = readWholeFile(dir.path("launcher.pid"));
        const bool entered = svc.logs("INFO Service start method entered");
        EXPECT_EQ(c.exitCode, result.exitCode) << result.err << svc.describe();
        EXPECT_EQ(c.err, result.err);
        if (c.exitCode != 0) {
            // Collected by the command already; its log lines are its own.
            const std::string daemon = svc.pidOf("Start running service routine");
            EXPECT_EQ(-1, waitForExit(std::atoi(daemon.c_str()), 0ms));
            EXPECT_NE(svc.pidOf("Launcher started."), daemon);
            EXPECT_FALSE(entered);
            continue;
        }
        const pid_t daemon = std::atoi(pidFile.c_str());
        ASSERT_GT(daemon, 0) << svc.describe();
        EXPECT_EQ(0, kill(daemon, 0));
        EXPECT_EQ(c.name == "wait", entered) << svc.describe();
        ASSERT_TRUE(eventually([&] { return svc.count("start.daemon") > 0; }, kPatience));
        ASSERT_EQ(0, kill(daemon, SIGUSR1));
        EXPECT_EQ(100, waitForExit(daemon, kPatience)) << svc.describe();
        EXPECT_EQ(std::to_string(daemon), svc.pidOf("Normal exit"));
        EXPECT_EQ(std::to_string(daemon), svc.pidOf("Service start method entered"));
        EXPECT_NE(std::to_string(daemon), svc.pidOf("Launcher started."));
    }
    prctl(PR_SET_CHILD_SUBREAPER, 0);
}

// A datagram socket standing in for systemd's notification socket, at a path or under
// an abstract name ("@name" in NOTIFY_SOCKET).
class NotifySocket {
  public:
    NotifySocket(const std::string& name) : name_(name) {
        fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::string path = name;
        if (path[0] == '@') {
            path[0] = '\0';
        }
        path.copy(address.sun_path, path.size());
        if (bind(fd_, reinterpret_cast<sockaddr*>(&address),
                 static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size())) != 0) {
            throw std::runtime_error("cannot bind " + name);
        }
    }
    ~NotifySocket() { close(fd_); }
    const std::string& name() const { return name_; }
    // The next message, or "none" when none comes within the limit.
    std::string next(std::chrono::milliseconds limit = kPatience) const {
        pollfd wanted{fd_, POLLIN, 0};
        if (poll(&wanted, 1, static_cast<int>(limit.count())) != 1) {
            return "none";
        }
        char buffer[4096];
        const ssize_t got = recv(fd_, buffer, sizeof(buffer), 0);
        return got < 0 ? "none" : std::string(buffer, static_cast<size_t>(got));
    }

  private:
    std::string name_;
    int fd_ = -1;
};

// systemd's Type=notify: asked to wait longer while the JVM is created, told READY only
// once the start method was entered (not while the JVM's creation is held), and told
// STOPPING when the stop method is called. A detached launcher names itself as the main
// process. The JVM does not see the variable, so no process it starts speaks for the
// launcher.
TEST(NotifyThroughLauncherTest, ReadinessAndStoppingReachTheServiceManagerInOrder) {
    ASSERT_EQ(0, prctl(PR_SET_CHILD_SUBREAPER, 1));
    const struct {
        std::string name;
        bool abstract;
        bool daemon;
    } cases[] = {{"path", false, false}, {"abstract", true, false}, {"daemon", false, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        const NotifySocket systemd(c.abstract ? "@launcher-test-notify-" + std::to_string(getpid())
                                              : dir.path("notify"));
        std::vector<std::string> options = {
            "--jvmopt", "-Djava.system.class.loader=contract.SigGateLoader",
            "--jvmopt", "-XX:-PrintWarnings",
            "--jvmopt", "-Dsig.gate=" + dir.path("gate"),
            "--jvmopt", "-Dsig.report=" + dir.path("facts")};
        if (c.daemon) {
            options.push_back("--daemon");
        }
        const Service svc(dir, options);
        ProcessRunner::Running running = svc.runner().env("NOTIFY_SOCKET", systemd.name()).start();
        ASSERT_TRUE(
            eventually([&] { return svc.count("in gate") > 0 || running.hasEnded(); }, kPatience));
        pid_t launcher = running.pid();
        std::string mainPid;
        if (c.daemon) {
            EXPECT_EQ(0, running.wait().exitCode);
            launcher = std::atoi(readWholeFile(dir.path("launcher.pid")).c_str());
            mainPid = "\nMAINPID=" + std::to_string(launcher);
        }
        EXPECT_EQ("EXTEND_TIMEOUT_USEC=30000000" + mainPid, systemd.next());
        EXPECT_EQ("none", systemd.next(300ms)) << "ready while the JVM is still being created";
        dir.write("gate", "");
        EXPECT_EQ("READY=1\nSTATUS=The service is running" + mainPid, systemd.next());
        ASSERT_TRUE(eventually([&] { return svc.count("start.notifySocket") > 0; }, kPatience));
        EXPECT_EQ("null", svc.value("start.notifySocket"));
        ASSERT_EQ(0, kill(launcher, SIGUSR1));
        EXPECT_EQ("STOPPING=1\nEXTEND_TIMEOUT_USEC=30000000" + mainPid, systemd.next());
        EXPECT_EQ(c.daemon ? 100 : 0,
                  c.daemon ? waitForExit(launcher, kPatience) : running.wait().exitCode)
            << svc.describe();
        EXPECT_EQ("none", systemd.next(0ms));
        EXPECT_EQ(1, svc.count("stop"));
    }
    prctl(PR_SET_CHILD_SUBREAPER, 0);
}

// A service manager that cannot be reached is said once in the log and changes nothing
// else; a service that fails to start is never reported ready.
TEST(NotifyThroughLauncherTest, ASocketThatCannotBeReachedIsLoggedOnceAndAFailedStartIsNeverReady) {
    TempDir dir;
    const Service svc(dir);
    ProcessRunner::Running running =
        svc.runner().env("NOTIFY_SOCKET", dir.path("nobody-listens")).start();
    ASSERT_TRUE(eventually(
        [&] { return svc.count("start.notifySocket") > 0 || running.hasEnded(); }, kPatience));
    running.signal(SIGUSR1);
    EXPECT_EQ(0, running.wait().exitCode) << svc.describe();
    EXPECT_EQ(1, svc.count("stop"));
    const std::vector<LogLine> lines = parseLogLines(readWholeFile(dir.path("launcher.log")));
    EXPECT_EQ(1, std::ranges::count_if(lines,
                                       [](const LogLine& line) {
                                           return line.message.starts_with(
                                               "Cannot notify the service manager");
                                       }))
        << svc.describe();
    EXPECT_TRUE(svc.logs("WARN Cannot notify the service manager NOTIFY_SOCKET=" +
                         dir.path("nobody-listens") + ", error=(2) No such file or directory"))
        << svc.describe();

    TempDir other;
    NotifySocket systemd(other.path("notify"));
    Service missing(other);
    missing.mainClass = "contract.Missing";
    EXPECT_EQ(7, missing.runner().env("NOTIFY_SOCKET", systemd.name()).run().exitCode);
    EXPECT_EQ("EXTEND_TIMEOUT_USEC=30000000", systemd.next());
    EXPECT_EQ("none", systemd.next(0ms));
}

}  // namespace
