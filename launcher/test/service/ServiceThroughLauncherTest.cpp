#include <gtest/gtest.h>
#include <poll.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/LauncherRunner.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

// Start mode, stop signals and stop mode through the real launcher binary and a real
// JVM: the exit codes, console texts, log lines and PID files a user sees, and what
// service managers and containers see: SIGTERM, a detached launcher's return and the
// readiness messages.
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 60s;

const std::string kStopFastFailure =
    "Service stop method failed: Java exception while invoking contract/SvcService.stopFast: "
    "java.lang.IllegalStateException: SvcService refuses to stop fast";

// The launcher in an English locale, free of the caller's Java settings.
ProcessRunner launcher(std::vector<std::string> args, const std::string& directory = "/",
                       const std::string& program = LAUNCHER_BINARY) {
    ProcessRunner runner = launcherRunner(std::move(args), program, kPatience);
    runner.workingDirectory(directory);
    return runner;
}

ProcessRunner stopMode(std::vector<std::string> args) {
    args.insert(args.begin(), "stop");
    return launcher(std::move(args));
}

// The "... has risen" lines of a launcher log, in their order.
std::vector<std::string> risenLines(const std::string& log) {
    std::vector<std::string> risen;
    for (const LogLine& line : parseLogLines(readWholeFile(log))) {
        if (line.function == "stopRequestListenerSignalHandlerFunc") {
            risen.push_back(line.message);
        }
    }
    return risen;
}

// `launcher start` of a fixture class; its log, PID file and the facts the fixture
// reports are files of the test's directory named after it.
struct Launch {
    Launch(const TempDir& dir, const std::string& mainClass, std::vector<std::string> more = {},
           const std::string& name = "launcher")
        : mainClass("contract." + mainClass),
          more(std::move(more)),
          log(dir.path(name + ".log")),
          pidFile(dir.path(name + ".pid")),
          factsFile(dir.path(name + ".facts")) {}

    std::vector<std::string> args() const {
        // clang-format off
        std::vector<std::string> args = {"start", "--javahome", JVM_TEST_JAVA_HOME,
            "--jclasspath", classPath, "--jifaceclass", mainClass, "--clog", log, "--pidfile",
            pidFile, "--jvmopt", "-Dsvc.report=" + factsFile, "--jvmopt", "-Dsig.report=" + factsFile};
        // clang-format on
        args.insert(args.end(), more.begin(), more.end());
        return args;
    }
    ProcessRunner runner() const { return launcher(args(), directory); }
    std::string pidPath() const { return pidFile[0] == '/' ? pidFile : directory + "/" + pidFile; }

    // The fixtures report a word a line, or key=value.
    std::string facts() const { return readWholeFile(factsFile); }
    int count(const std::string& word) const {
        return std::ranges::count_if(splitLines(facts()), [&](const std::string& fact) {
            return fact == word || fact.starts_with(word + "=");
        });
    }
    std::string value(const std::string& key) const {
        for (const std::string& fact : splitLines(facts())) {
            if (fact.starts_with(key + "=")) {
                return fact.substr(key.size() + 1);
            }
        }
        return "";
    }
    // Until the PID file names the launcher and the start method runs; false once the
    // launcher has ended instead.
    bool serving(const ProcessRunner::Running& running) const {
        eventually(
            [&] {
                return running.hasEnded() ||
                       (readWholeFile(pidPath()) == std::to_string(running.pid()) &&
                        count("start") > 0);
            },
            kPatience);
        return !running.hasEnded();
    }

    // Index of the first log line from `from` on whose message, or level and message,
    // starts so; npos when there is none.
    size_t find(const std::string& prefix, size_t from = 0) const {
        const std::vector<LogLine> all = parseLogLines(readWholeFile(log));
        for (size_t i = from; i < all.size(); ++i) {
            if (all[i].message.starts_with(prefix) ||
                (all[i].level + " " + all[i].message).starts_with(prefix)) {
                return i;
            }
        }
        return std::string::npos;
    }
    bool logs(const std::string& prefix) const { return find(prefix) != std::string::npos; }
    // The PID of the first log line whose message starts so; empty when there is none.
    std::string pidOf(const std::string& prefix) const {
        const size_t at = find(prefix);
        return at == std::string::npos ? "" : parseLogLines(readWholeFile(log))[at].pid;
    }
    std::vector<std::string> risen() const { return risenLines(log); }
    std::string describe() const { return "\nfacts:\n" + facts() + "log:\n" + readWholeFile(log); }

    std::string mainClass;
    std::vector<std::string> more;
    std::string log;
    std::string pidFile;
    std::string factsFile;
    std::string classPath = JVM_FIXTURE_JAR;
    std::string directory = "/";
};

// A PID that is certainly nobody's: a process that ended and was reaped.
std::string gonePid() {
    ProcessRunner::Running gone = ProcessRunner("/bin/true").start();
    gone.wait();
    return std::to_string(gone.pid());
}

// HotSpot takes SIGINT (for its own shutdown) and SIGUSR2 (to suspend its threads) while
// JNI_CreateJavaVM runs; the fixture's class loader holds the creation right after that.
// A stop request sent there must still end in the stop method, neither in the JVM's own
// shutdown nor nowhere; SIGUSR1, which HotSpot leaves alone, is held the same way.
TEST(StartModeThroughLauncherTest, ForegroundStopSignalsReachTheStopMethodEvenDuringJvmCreation) {
    const struct {
        int signalNumber;
        std::string name;
    } cases[] = {{SIGUSR1, "SIGUSR1"}, {SIGINT, "SIGINT"}, {SIGUSR2, "SIGUSR2"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        const bool fast = c.signalNumber == SIGUSR2;
        const Launch svc(
            dir, "SvcService",
            {"--jvmopt", "-Djava.system.class.loader=contract.SigGateLoader",
             // Not a word about the class data it cannot share with that loader.
             "--jvmopt", "-XX:-PrintWarnings", "--jvmopt", "-Dsig.gate=" + dir.path("gate")});
        ProcessRunner::Running running = svc.runner().start();
        ASSERT_TRUE(
            eventually([&] { return svc.count("in gate") > 0 || running.hasEnded(); }, kPatience));
        ASSERT_FALSE(running.hasEnded()) << svc.describe();

        // The PID file is written before the JVM is loaded: a second start on it is
        // refused already, and leaves the file alone.
        Launch second(dir, "SvcService", {}, "second");
        second.pidFile = svc.pidFile;
        const ProcessRunner::Result refused = second.runner().run();
        EXPECT_EQ(3, refused.exitCode) << refused.out << refused.err;
        EXPECT_EQ("PID file exists and the process with PID referenced there is running\n",
                  refused.err);
        EXPECT_EQ(std::to_string(running.pid()), readWholeFile(svc.pidFile));

        running.signal(c.signalNumber);
        std::this_thread::sleep_for(50ms);
        dir.write("gate", "");
        const ProcessRunner::Result& end = running.wait();
        EXPECT_EQ(0, end.exitCode) << end.err << svc.describe();
        EXPECT_EQ("launcher started (launcher 3.10.5+8, x86-64), PID=" +
                      std::to_string(running.pid()) + "\n",
                  end.out);
        EXPECT_EQ("", end.err);
        EXPECT_EQ("launcher-start-thread", svc.value("start"));
        EXPECT_EQ("launcher-stop-thread", svc.value(fast ? "stopFast" : "stop"));
        EXPECT_EQ(1, svc.count("stop") + svc.count("stopFast"));
        EXPECT_EQ(1, svc.count("start.returns"));
        EXPECT_EQ(std::vector<std::string>{c.name + " has risen"}, svc.risen());
        const size_t spawn = svc.find(
            std::string("Service start method is not finished yet. Spawning stop. stopType=") +
                (fast ? "fast stop" : "simple stop"),
            svc.find(std::string("Got an event. stopType=") +
                     (fast ? "stop fast" : "simple stop")));
        EXPECT_LT(spawn, svc.find("Normal exit exitCode=0", spawn)) << svc.describe();
        EXPECT_FALSE(pathExists(svc.pidFile));
    }
}

// The test adopts the daemon the launcher splits into, as systemd does for a forking
// service, to see its exit code. The relative class path finds the jar only if the
// daemon kept the working directory.
TEST(StartModeThroughLauncherTest, ADaemonTellsHowItWasStoppedByItsExitCode) {
    ASSERT_EQ(0, prctl(PR_SET_CHILD_SUBREAPER, 1));
    // Left behind by a launcher that is gone, or written by hand with a line end: the new
    // launcher takes the file over.
    const std::string gone = gonePid();
    const struct {
        bool byStopMode;  // else by SIGUSR2, with a stop method that fails
        int exitCode;
        std::string stale;
        std::string takeOver;
    } cases[] = {
        {true, 100, gone,
         "Process referenced in PID-file is not running, delete old PID-file pid=" + gone},
        {false, 209, gone + "\n",
         "PID-file exists and has unsupported format, delete it formatError=\"Illegal characters "
         "in PID file '"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.exitCode);
        TempDir dir;
        dir.mkdir("lib");
        std::filesystem::copy_file(JVM_FIXTURE_JAR, dir.path("lib/fixtures.jar"));
        Launch svc(dir, "SvcService",
                   {"--daemon", "--cerr", dir.path("stderr"), "--jvmopt",
                    "-Dsvc.stopFastFails=" + std::string(c.byStopMode ? "false" : "true")});
        svc.classPath = "lib/*.jar";
        svc.directory = dir.path();
        dir.write("launcher.pid", c.stale);

        ProcessRunner::Running first = svc.runner().start();
        EXPECT_EQ(0, first.wait().exitCode) << first.wait().err;
        EXPECT_EQ("", first.wait().out);
        pid_t daemon = 0;
        // One that a failed check leaves running is killed.
        const std::shared_ptr<void> reap(nullptr,
                                         [&](void*) { daemon > 0 && waitForExit(daemon, 0ms); });
        ASSERT_TRUE(eventually(
            [&] {
                const std::string text = readWholeFile(svc.pidFile);
                daemon = text != c.stale ? std::atoi(text.c_str()) : 0;
                return daemon > 0 && svc.count("start") > 0;
            },
            kPatience))
            << svc.describe();
        const std::string pid = std::to_string(daemon);
        // Written after the split: the daemon's own PID, the one Java sees.
        EXPECT_NE(first.pid(), daemon);
        EXPECT_EQ(pid, svc.value("start.pid"));
        EXPECT_EQ("true", svc.value("start.daemon"));
        if (c.byStopMode) {
            // Collected only once the stop mode is done, a zombie meanwhile; its PID file
            // is gone already.
            const ProcessRunner::Result stop = stopMode({"--pidfile", svc.pidFile}).run();
            EXPECT_EQ(0, stop.exitCode);
            EXPECT_EQ("Launcher with PID=" + pid + " stopped gracefully\n", stop.err);
            EXPECT_FALSE(pathExists(svc.pidFile));
        } else {
            ASSERT_EQ(0, kill(daemon, SIGUSR2));
        }
        EXPECT_EQ(c.exitCode, waitForExit(daemon, kPatience)) << svc.describe();
        daemon = 0;
        EXPECT_EQ("launcher-stop-thread", svc.value(c.byStopMode ? "stop" : "stopFast"));
        EXPECT_EQ(1, svc.count("stop") + svc.count("stopFast"));
        EXPECT_EQ(1, svc.count("start.returns"));
        EXPECT_FALSE(pathExists(svc.pidFile));
        EXPECT_TRUE(svc.logs(c.takeOver)) << svc.describe();
        if (c.byStopMode) {
            EXPECT_TRUE(svc.logs("Normal exit exitCode=100"));
            continue;
        }
        // With no terminal left, the reason goes to --cerr and, through the service
        // object, to the log.
        EXPECT_TRUE(readWholeFile(dir.path("stderr")).starts_with(kStopFastFailure))
            << readWholeFile(dir.path("stderr"));
        const std::string log = readWholeFile(svc.log);
        EXPECT_NE(std::string::npos,
                  log.find(",func=exceptionHandler,message=" + kStopFastFailure));
        EXPECT_TRUE(svc.logs("Launcher has stopped. Error='" + kStopFastFailure));
        EXPECT_NE(std::string::npos, log.find("exitCode=209"));
    }
    prctl(PR_SET_CHILD_SUBREAPER, 0);
}

// A start method that returns, or that calls System.exit, ends the launcher without a
// stop call, and the PID file goes either way. The JVM options show how the class path
// masks were resolved: an empty entry, a missing directory and a mask without matches add
// nothing, a directory adds its files, and a bare file name is looked for in the working
// directory.
TEST(StartModeThroughLauncherTest, RunsThatEndByThemselvesAndHowTheClassPathWasResolved) {
    TempDir dir;
    for (const char* directory : {"lib", "conf", "conf/nested", "mods"}) {
        dir.mkdir(directory);
    }
    std::filesystem::copy_file(JVM_FIXTURE_JAR, dir.path("lib/fixtures.jar"));
    std::filesystem::copy_file(JVM_FIXTURE_JAR, dir.path("mods/svcmods.jar"));
    for (const char* file : {"lib/notes.txt", "conf/app.properties", "top.txt"}) {
        dir.write(file, "");
    }
    for (const std::string mode : {"return", "exit:42"}) {
        SCOPED_TRACE(mode);
        Launch svc(dir, "SvcService", {"--jmodulepath", "mods", "--jvmopt", "-Dsvc.start=" + mode},
                   mode.substr(0, 4));
        svc.classPath = "lib/*.jar::missing/*.jar:conf/:lib/*.none:top.txt";
        svc.directory = dir.path();
        const ProcessRunner::Result result = svc.runner().run();
        EXPECT_EQ(mode == "return" ? 0 : 42, result.exitCode) << result.err << svc.describe();
        EXPECT_EQ("", result.err);
        EXPECT_EQ(1, svc.count("start"));
        EXPECT_EQ(0, svc.count("stop") + svc.count("stopFast"));
        EXPECT_FALSE(pathExists(svc.pidFile));
        if (mode == "return") {
            EXPECT_TRUE(svc.logs("INFO Java start method finished")) << svc.describe();
            EXPECT_FALSE(svc.logs("Service start method is not finished yet."));
            EXPECT_TRUE(svc.logs("Normal exit exitCode=0"));
            EXPECT_TRUE(svc.logs("INFO PID file was removed path=" + svc.pidPath()));
        }
        std::vector<std::string> jvmArguments;
        for (const LogLine& line : parseLogLines(readWholeFile(svc.log))) {
            if (line.message.starts_with("JVM argument JVM argument='")) {
                jvmArguments.push_back(line.message.substr(27, line.message.size() - 28));
            }
        }
        EXPECT_EQ((std::vector<std::string>{
                      "--module-path=" + dir.path("mods/svcmods.jar"),
                      "-Djava.class.path=" + dir.path("lib/fixtures.jar") + ":" +
                          dir.path("conf/app.properties") + ":" + dir.path("top.txt"),
                      "-Dsvc.report=" + svc.factsFile, "-Dsig.report=" + svc.factsFile,
                      "-Dsvc.start=" + mode}),
                  jvmArguments);
        EXPECT_TRUE(svc.logs("WARN Skipping empty file mask"));
        EXPECT_TRUE(svc.logs(
            "INFO Directory for pattern does not exist directory=missing, pattern=missing/*.jar"));
        EXPECT_TRUE(svc.logs("INFO The mask does not match any file in the directory mask=*.none"));
    }
}

// Paths that cannot be resolved end the start with 2 before any JVM is loaded, a PID
// file that cannot be replaced with 3 before anything else.
TEST(StartModeThroughLauncherTest, PathsThatCannotBeResolvedEndTheStartEarly) {
    TempDir dir;
    dir.mkdir("lib");
    std::filesystem::copy_file(JVM_FIXTURE_JAR, dir.path("lib/fixtures.jar"));
    const std::string noClassPath = "Classpath was set but no files meet the mask. Search path: ";
    const std::string noWildcards =
        "Only file names can contain wildcards, directory paths must not: ";
    const std::string pidDirectory = dir.path("lib");
    // The class path in all but the last, the PID file there.
    const struct {
        int exitCode;
        std::string value;
        std::string message;
        std::string logLine;  // one the log must hold as well
    } cases[] = {
        {2, "lib*/fixtures.jar", noWildcards + "'lib*/fixtures.jar'", ""},
        // Backslashes count as separators, and "?" as a wildcard.
        {2, "lib?\\fixtures.jar", noWildcards + "'lib?\\fixtures.jar'", ""},
        {2, "missing/*.jar:lib/*.none", noClassPath + "missing/*.jar:lib/*.none",
         "Directory for pattern does not exist directory=missing, pattern=missing/*.jar"},
        // A mask right under the root is looked for in "/" itself.
        {2, "/launcher-test-absent-*.jar", noClassPath + "/launcher-test-absent-*.jar",
         "The mask does not match any file in the directory mask=launcher-test-absent-*.jar"},
        {2, "lib/[.jar", "Cannot read file '[.jar'. Error: ", ""},
        {3, pidDirectory,
         "PID file '" + pidDirectory +
             "' exists and cannot be deleted. Error: Cannot delete file '" + pidDirectory +
             "'. Error: (21) Is a directory\n",
         ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        std::filesystem::remove(dir.path("launcher.log"));
        Launch svc(dir, "SvcService");
        svc.directory = dir.path();
        (c.exitCode == 2 ? svc.classPath : svc.pidFile) = c.value;
        const ProcessRunner::Result result = svc.runner().run();
        EXPECT_EQ(c.exitCode, result.exitCode) << result.out << result.err;
        EXPECT_TRUE(result.err.starts_with(c.message)) << result.err;
        EXPECT_TRUE(c.logLine.empty() || svc.logs("INFO " + c.logLine)) << svc.describe();
        EXPECT_FALSE(svc.logs("JVM library loaded")) << svc.describe();
        // A PID file that could be written was written before the paths were resolved,
        // and is gone again.
        EXPECT_EQ(c.exitCode == 2, svc.logs("INFO PID saved"));
        EXPECT_EQ(c.exitCode == 3, pathExists(svc.pidFile));
    }
}

TEST(StartModeThroughLauncherTest, AFastStopWithoutStopFastWaitsForASimpleStop) {
    TempDir dir;
    const Launch svc(dir, "SvcSimpleOnly");
    ProcessRunner::Running running = svc.runner().start();
    ASSERT_TRUE(svc.serving(running)) << svc.describe();
    running.signal(SIGUSR2);
    // Both requests at once would leave the loop with nothing to do, so the second one
    // waits until the first was turned down.
    ASSERT_TRUE(eventually([&] { return svc.logs("Service stop method not fount."); }, kPatience))
        << svc.describe();
    EXPECT_EQ(0, svc.count("stop"));
    running.signal(SIGUSR1);
    EXPECT_EQ(0, running.wait().exitCode) << running.wait().err << svc.describe();
    EXPECT_EQ("launcher-stop-thread", svc.value("stop"));
    const size_t refused = svc.find("INFO Service stop method not fount.");
    const size_t simple = svc.find("Got an event. stopType=simple stop", refused);
    EXPECT_LT(svc.find("Got an event. stopType=stop fast"), refused);
    EXPECT_LT(refused, simple);
    EXPECT_NE(std::string::npos, simple);
}

// A service that has taken every thread its process limit allows leaves none for the
// stop method. The launcher neither crashes nor tears the JVM down under the running
// start method: it waits for start to end by itself, destroys the JVM, then reports
// the stop's failure.
TEST(StartModeThroughLauncherTest, AStopMethodThatGetsNoThreadFailsOnceStartHasEnded) {
    if (!canLimitProcesses()) {
        GTEST_SKIP() << "needs root, setpriv and prlimit: root ignores the process limit";
    }
    TempDir dir;
    // Everything the unprivileged user touches lives in the test's directory.
    ASSERT_EQ(0, chmod(dir.path().c_str(), 0777));
    std::filesystem::copy_file(LAUNCHER_BINARY, dir.path("launcher"));
    std::filesystem::copy_file(JVM_FIXTURE_JAR, dir.path("fixtures.jar"));
    Launch svc(dir, "SvcService", {"--jvmopt", "-Dsvc.start=linger:3000"});
    svc.classPath = dir.path("fixtures.jar");
    // A user of its own: the process limit counts every task of the user on the machine,
    // and other tests run as nobody at the same time.
    std::vector<std::string> args = {"--nproc=64:64", "/usr/bin/setpriv", "--reuid=61002",
                                     "--regid=61002", "--clear-groups",   dir.path("launcher")};
    for (const std::string& arg : svc.args()) {
        args.push_back(arg);
    }
    ProcessRunner::Running running = launcher(args, "/", "/usr/bin/prlimit").start();
    ASSERT_TRUE(svc.serving(running)) << svc.describe();
    ASSERT_TRUE(eventually([&] { return svc.count("threads.held") > 0; }, kPatience))
        << svc.describe();
    running.signal(SIGUSR1);
    const ProcessRunner::Result& result = running.wait();
    EXPECT_EQ(20, result.exitCode) << result.out << result.err << svc.describe();
    const std::string failed =
        "Service stop method failed: Cannot start thread "
        "'launcher-stop-thread'. Error: Resource temporarily unavailable";
    EXPECT_EQ(failed + "\n", result.err);
    EXPECT_EQ(0, svc.count("stop"));
    EXPECT_EQ(1, svc.count("start.returns"));
    EXPECT_LT(svc.find("Service start method finished."), svc.find("JVM destroyed"));
    EXPECT_NE(std::string::npos, svc.find(failed));
    EXPECT_FALSE(pathExists(svc.pidPath()));
}

// Thousands of simple and fast stop requests from the moment the PID file exists (so a
// stop client could know the launcher) until the process has ended: through the JVM's
// creation, the start, a stop method that takes its time, and the JVM's destruction.
TEST(StopSignalsThroughLauncherTest, ASignalStormWhileStartingAndStoppingEndsInOneStop) {
    TempDir dir;
    const Launch sig(dir, "SigService", {"--jvmopt", "-Dsig.stopMillis=300"});
    ProcessRunner::Running running = sig.runner().start();
    ASSERT_TRUE(eventually(
        [&] { return !readWholeFile(sig.pidFile).empty() || running.hasEnded(); }, kPatience));
    int sent = 0;
    int sentBeforeStart = -1;
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (!running.hasEnded() && std::chrono::steady_clock::now() < deadline) {
        running.signal(SIGUSR1);
        running.signal(SIGUSR2);
        sent += 2;
        if (sentBeforeStart < 0 && sent % 128 == 0 && sig.count("start") > 0) {
            sentBeforeStart = sent;
        }
        std::this_thread::sleep_for(50us);
    }
    const std::string storm = "signals sent: " + std::to_string(sent) +
                              ", before the start method ran: " + std::to_string(sentBeforeStart);
    EXPECT_EQ(0, running.wait().exitCode) << storm << sig.describe();
    EXPECT_EQ(1, sig.count("stop") + sig.count("stopFast")) << storm << sig.describe();
    EXPECT_EQ(1, sig.count("start returned"));
    EXPECT_GE(sent, 1000) << "no storm to speak of";
    const std::vector<std::string> risen = sig.risen();
    EXPECT_NE(risen.end(), std::find(risen.begin(), risen.end(), "SIGUSR1 has risen"));
    EXPECT_NE(risen.end(), std::find(risen.begin(), risen.end(), "SIGUSR2 has risen"));
}

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

// A stop signal 2 to 20 ms after exec comes while the JVM is being created, well before
// the start method is entered. The stop method must still come after start's entry: the
// service here is written the plain way, its stop clearing the flag that its start sets
// and loops on, so a stop first would leave it running for ever. Two launchers at a time
// keep the sixty runs to seconds.
TEST(StopSignalsThroughLauncherTest, AStopSignalRightAfterExecCallsStopOnlyAfterStartWasEntered) {
    TempDir dir;
    for (int run = 0; run < 60; run += 2) {
        std::vector<std::unique_ptr<Launch>> plain;
        std::vector<std::unique_ptr<ProcessRunner::Running>> running;
        for (int i = 0; i < 2; ++i) {
            const std::string name = "run" + std::to_string(run + i);
            plain.push_back(std::make_unique<Launch>(
                dir, "SigService",
                std::vector<std::string>{"--jvmopt", "-Dsig.plain=true", "--jvmopt",
                                         "-Dsig.entered=" + dir.path(name + ".entered")},
                name));
        }
        const auto exec = std::chrono::steady_clock::now();
        for (const auto& launch : plain) {
            running.push_back(
                std::make_unique<ProcessRunner::Running>(launch->runner().timeout(kPatience / 4)));
        }
        for (int i = 0; i < 2; ++i) {
            const int delayMs = 2 + (run + i) % 10 * 2;
            std::this_thread::sleep_until(exec + std::chrono::milliseconds(delayMs));
            // Not before the launcher's own first instruction: until then the signal
            // would kill it, whatever the launcher does.
            while (!catches(running[i]->pid(), SIGUSR1) && !running[i]->hasEnded()) {
                std::this_thread::sleep_for(100us);
            }
            running[i]->signal(SIGUSR1);
        }
        for (int i = 0; i < 2; ++i) {
            const std::string name = "run" + std::to_string(run + i);
            const ProcessRunner::Result& end = running[i]->wait();
            const std::string entered = readWholeFile(dir.path(name + ".entered"));
            EXPECT_EQ(0, end.exitCode) << name << " timed out: " << end.timedOut << "\n"
                                       << entered << plain[i]->describe();
            std::map<std::string, long long> at;
            for (const std::string& line : splitLines(entered)) {
                at[line.substr(0, line.find('='))] = std::stoll(line.substr(line.find('=') + 1));
            }
            ASSERT_EQ(2u, at.size()) << name << "\n" << entered << plain[i]->describe();
            EXPECT_LT(at["start"], at["stop"]) << name << "\n" << entered;
        }
    }
}

// With profiling on, HotSpot's recorder suspends busy threads with SIGUSR2 a hundred
// times a second. Those are the JVM's own: the service keeps running, and the samples
// they take end up in the recording.
TEST(StopSignalsThroughLauncherTest, TheFlightRecorderSamplesThreadsWithoutStoppingTheService) {
    TempDir dir;
    const std::string recording = dir.path("recording.jfr");
    const Launch sig(dir, "SigService",
                     {"--jvmopt", "-Dsig.busyThreads=2", "--jvmopt",
                      "-XX:StartFlightRecording=settings=profile,filename=" + recording});
    ProcessRunner::Running running = sig.runner().timeout(3 * kPatience).start();
    ASSERT_TRUE(sig.serving(running)) << sig.describe();
    EXPECT_FALSE(eventually([&] { return sig.count("stop") > 0 || running.hasEnded(); }, 30s))
        << sig.describe();
    running.signal(SIGUSR1);
    EXPECT_EQ(0, running.wait().exitCode) << sig.describe();
    EXPECT_EQ("start\nstop\nstart returned\n", sig.facts());
    EXPECT_EQ(std::vector<std::string>{"SIGUSR1 has risen"}, sig.risen());

    const ProcessRunner::Result summary =
        ProcessRunner(std::string(JVM_TEST_JAVA_HOME) + "/bin/jfr")
            .args({"summary", recording})
            .timeout(kPatience)
            .run();
    long samples = 0;
    for (const std::string& line : splitLines(summary.out)) {
        if (line.starts_with(" jdk.ExecutionSample ")) {
            std::istringstream(line.substr(21)) >> samples;
        }
    }
    EXPECT_GT(samples, 0) << summary.out << summary.err;
}

// The example as a user runs it, on a copy of the instance the build prepared, and
// Ctrl-C on its terminal: the kernel sends SIGINT, no process does. The shorter interval
// comes after the file's own, and the last one given wins.
TEST(HeartbeatExampleTest, CtrlCOnItsTerminalStopsTheServiceCleanlyWithExitCodeZero) {
    TempDir dir;
    const std::string instance = dir.path("instance");
    std::filesystem::create_directories(instance + "/logs");
    std::filesystem::copy(HEARTBEAT_INSTANCE_DIR "/lib", instance + "/lib");
    std::filesystem::copy_file(HEARTBEAT_TEMPLATE_DIR "/launcher.yml", instance + "/launcher.yml");
    ProcessRunner::Running running =
        launcher({"start", "--instance", instance, "--javahome", HEARTBEAT_JAVA_HOME, "--jifacearg",
                  "interval-ms=100"})
            .onTerminal()
            .start();
    const auto file = [&](const std::string& name) { return readWholeFile(dir.path(name)); };
    const auto story = [&] {
        return running.out() + "--- heartbeat.log\n" + file("instance/logs/heartbeat.log") +
               "--- launcher.log\n" + file("instance/logs/launcher.log");
    };
    ASSERT_TRUE(eventually(
        [&] {
            return running.out().find("heartbeat 2 at") != std::string::npos || running.hasEnded();
        },
        kPatience))
        << story();
    running.type("\x03");
    const ProcessRunner::Result& end = running.wait();
    EXPECT_EQ(0, end.exitCode) << story();
    EXPECT_EQ("", end.err);
    // The launcher's own banner may reach the file only when it exits, after Java's lines.
    EXPECT_NE(std::string::npos,
              end.out.find("Heartbeat example started (launcher 3.10.5+8, x86-64), PID=" +
                           std::to_string(running.pid()) + ". Press Ctrl+C to stop.\n"))
        << story();
    EXPECT_NE(std::string::npos, end.out.find("Heartbeat service running: instance " + instance +
                                              ", daemon false, one beat every 100 ms\n"));
    // The JVM option built from ${instance.root} points the service at the instance.
    const std::vector<std::string> beats = splitLines(file("instance/logs/heartbeat.log"));
    ASSERT_FALSE(beats.empty()) << story();
    EXPECT_TRUE(beats.back().starts_with("Heartbeat stopped cleanly after ") &&
                beats.back().ends_with(" beats (stop)"))
        << story();
    EXPECT_NE(std::string::npos, end.out.find(beats.back()));
    EXPECT_EQ(std::vector<std::string>{"SIGINT has risen"},
              risenLines(dir.path("instance/logs/launcher.log")));
    EXPECT_NE(std::string::npos, file("instance/logs/launcher.log").find("Normal exit exitCode=0"));
}

// Whether a log has a line of that class with exactly that message.
bool logged(const std::string& log, const std::string& className, const std::string& message) {
    const std::vector<LogLine> lines = parseLogLines(readWholeFile(log));
    return std::any_of(lines.begin(), lines.end(), [&](const LogLine& line) {
        return line.className == className && line.message == message;
    });
}

std::string stopRequest(const std::string& pid, const std::string& timeout) {
    return "A stop request was sent to another launcher instance pidToStop=" + pid +
           ", timeoutMillis=" + timeout;
}

// A PID file may outlive its launcher and name whatever process got the number later;
// only a file a running launcher holds is taken at its word. Two launchers started at
// once on such a file both find it stale, yet only one may run. They move to another
// working directory while their PID file was given relative to where they started: the
// file the winner removes at the end must be the one it wrote.
TEST(StopModeThroughLauncherTest, OnlyALauncherThatHoldsItsPidFileIsStopped) {
    TempDir dir;
    dir.mkdir("work");
    ProcessRunner::Running sleeper = ProcessRunner("/bin/sleep").args({"60"}).start();
    const std::string sleeperPid = std::to_string(sleeper.pid());
    dir.write("launcher.pid", sleeperPid);
    // Nothing either where nothing runs: by the PID of a process that is gone, or by the
    // file of a launcher that died without cleaning up.
    const std::string gone = gonePid();
    dir.write("dead.pid", gone);
    const std::pair<std::vector<std::string>, std::string> nothing[] = {
        {{"--pidfile", dir.path("launcher.pid"), "--clog", dir.path("stop.log")}, sleeperPid},
        {{"--pid", gone, "--timeout", "500"}, gone},
        {{"--pidfile", dir.path("dead.pid")}, gone}};
    for (const auto& [target, pid] : nothing) {
        const ProcessRunner::Result refused = stopMode(target).run();
        EXPECT_EQ(11, refused.exitCode);
        EXPECT_EQ("Launcher with PID=" + pid + " not found, nothing was stopped\n", refused.err);
    }
    EXPECT_TRUE(logged(dir.path("stop.log"), "main", stopRequest(sleeperPid, "IsNotSet")))
        << readWholeFile(dir.path("stop.log"));
    // Nor another user's process, where root can act as the user nobody.
    if (geteuid() == 0 && access("/usr/bin/setpriv", X_OK) == 0 && getpwnam("nobody")) {
        // A copy the unprivileged user can reach wherever the build tree lies.
        ASSERT_EQ(0, chmod(dir.path().c_str(), 0755));
        std::filesystem::copy_file(LAUNCHER_BINARY, dir.path("launcher"));
        const ProcessRunner::Result denied =
            launcherRunner({"--reuid=nobody", "--regid=nogroup", "--clear-groups",
                            dir.path("launcher"), "stop", "--pid", sleeperPid, "--timeout", "500"},
                           "/usr/bin/setpriv")
                .run();
        EXPECT_EQ(12, denied.exitCode) << denied.out << denied.err;
        // No line end: the way this message has always been printed.
        EXPECT_EQ("Launcher is not permitted to stop process with PID=" + sleeperPid, denied.err);
    }

    Launch first(dir, "SigService", {"--workdir", dir.path("work")}, "first");
    Launch second(dir, "SigService", {"--workdir", dir.path("work")}, "second");
    for (Launch* svc : {&first, &second}) {
        svc->pidFile = "launcher.pid";
        svc->directory = dir.path();
    }
    ProcessRunner::Running a = first.runner().start();
    ProcessRunner::Running b = second.runner().start();
    eventually(
        [&] {
            return a.hasEnded() || b.hasEnded() ||
                   (first.count("start") > 0 && second.count("start") > 0);
        },
        kPatience);
    ASSERT_NE(a.hasEnded(), b.hasEnded()) << "expected exactly one to give up";
    const bool firstLost = a.hasEnded();
    ProcessRunner::Running& loser = firstLost ? a : b;
    EXPECT_EQ(3, loser.wait().exitCode) << loser.wait().out << loser.wait().err;
    EXPECT_EQ("PID file exists and the process with PID referenced there is running\n",
              loser.wait().err);
    EXPECT_EQ("", (firstLost ? first : second).facts());

    ProcessRunner::Running& winner = firstLost ? b : a;
    const Launch& winning = firstLost ? second : first;
    ASSERT_TRUE(winning.serving(winner)) << winning.describe();
    // A graceful stop leaves the target ended normally after its stop method ran, and
    // its PID file gone already. The test collects the winner only after the stop mode
    // is done, as a container's first process may never do: its zombie counts as ended.
    const ProcessRunner::Result stopped =
        stopMode({"--pid", std::to_string(winner.pid()), "--fast"}).run();
    EXPECT_EQ(0, stopped.exitCode);
    EXPECT_EQ("Launcher with PID=" + std::to_string(winner.pid()) + " stopped gracefully\n",
              stopped.err);
    EXPECT_EQ("", stopped.out);
    EXPECT_FALSE(pathExists(winning.pidPath()));
    EXPECT_EQ(0, winner.wait().exitCode) << winner.wait().err << winning.describe();
    EXPECT_EQ("start\nstopFast\nstart returned\n", winning.facts());
    EXPECT_FALSE(sleeper.hasEnded());
    const std::string belongs =
        "Process referenced in PID-file belongs to another program, delete old PID-file pid=" +
        sleeperPid + ", pidFilePath=launcher.pid";
    EXPECT_TRUE(first.logs(belongs) || second.logs(belongs));
}

TEST(StopModeThroughLauncherTest, AHungStopMethodIsWaitedForUntilTheTimeoutThenKilled) {
    TempDir dir;
    const Launch svc(dir, "SigService", {"--jvmopt", "-Dsig.stopMillis=600000"});
    ProcessRunner::Running service = svc.runner().start();
    ASSERT_TRUE(svc.serving(service)) << svc.describe();
    const std::string pid = std::to_string(service.pid());

    // Without a timeout the stop mode waits as long as the target lives.
    EXPECT_TRUE(stopMode({"--pidfile", svc.pidFile}).timeout(1s).run().timedOut);
    EXPECT_FALSE(service.hasEnded());
    EXPECT_EQ(pid, readWholeFile(svc.pidFile));

    const auto asked = std::chrono::steady_clock::now();
    const std::string log = dir.path("stop.log");
    const ProcessRunner::Result forced =
        stopMode({"--pidfile", svc.pidFile, "--timeout", "500", "--clog", log}).run();
    EXPECT_GE(std::chrono::steady_clock::now() - asked, 500ms);
    EXPECT_EQ(0, forced.exitCode) << forced.err;
    EXPECT_EQ("Launcher with PID=" + pid + " was forced to stop and its PID-file was removed\n",
              forced.err);
    EXPECT_FALSE(pathExists(svc.pidFile));
    EXPECT_TRUE(logged(log, "main", stopRequest(pid, "500"))) << readWholeFile(log);
    EXPECT_TRUE(logged(log, "StopRequestClient",
                       "PID-file of another instance was removed pidFilePath=" + svc.pidFile));
    EXPECT_EQ(SIGKILL, service.wait().signal);
    EXPECT_EQ("start\nstop\n", svc.facts());
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
        Launch svc(dir, "SvcService", c.options);
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
    const Launch svc(dir, "SvcService", {"--sigterm", "stop"});
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
        Launch svc(dir, "SvcService", c.options);
        if (c.exitCode != 0) {
            svc.mainClass = "contract.Missing";
        }
        const ProcessRunner::Result result = svc.runner().run();
        // Looked at right when the command has returned.
        const std::string pidFile = readWholeFile(svc.pidFile);
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
            "--jvmopt", "-Dsig.gate=" + dir.path("gate")};
        if (c.daemon) {
            options.push_back("--daemon");
        }
        const Launch svc(dir, "SvcService", options);
        ProcessRunner::Running running = svc.runner().env("NOTIFY_SOCKET", systemd.name()).start();
        ASSERT_TRUE(
            eventually([&] { return svc.count("in gate") > 0 || running.hasEnded(); }, kPatience));
        pid_t launcher = running.pid();
        std::string mainPid;
        if (c.daemon) {
            EXPECT_EQ(0, running.wait().exitCode);
            launcher = std::atoi(readWholeFile(svc.pidFile).c_str());
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
    const Launch svc(dir, "SvcService");
    ProcessRunner::Running running =
        svc.runner().env("NOTIFY_SOCKET", dir.path("nobody-listens")).start();
    ASSERT_TRUE(eventually(
        [&] { return svc.count("start.notifySocket") > 0 || running.hasEnded(); }, kPatience));
    running.signal(SIGUSR1);
    EXPECT_EQ(0, running.wait().exitCode) << svc.describe();
    EXPECT_EQ(1, svc.count("stop"));
    const std::vector<LogLine> lines = parseLogLines(readWholeFile(svc.log));
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
    Launch missing(other, "SvcService");
    missing.mainClass = "contract.Missing";
    EXPECT_EQ(7, missing.runner().env("NOTIFY_SOCKET", systemd.name()).run().exitCode);
    EXPECT_EQ("EXTEND_TIMEOUT_USEC=30000000", systemd.next());
    EXPECT_EQ("none", systemd.next(0ms));
}

}  // namespace
