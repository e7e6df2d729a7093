#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/LogLines.h"
#include "support/ProcessRunner.h"
#include "support/SpawnedProcess.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

std::vector<std::string> launcherEnvironment() {
    std::vector<std::string> environment = {"LC_ALL=C", "JVM_OPTS="};
#if defined(__SANITIZE_ADDRESS__)
    // HotSpot handles SIGSEGV itself, and its threads are still alive at exit.
    environment.push_back("ASAN_OPTIONS=detect_leaks=0:handle_segv=0");
#endif
    return environment;
}

// `launcher start` running contract.SigService in the foreground; the fixture writes
// what it did to the file "facts" of the directory.
class SigLauncher {
  public:
    SigLauncher(const TempDir& dir, const std::vector<std::string>& jvmOptions,
                bool onTerminal = false)
        : dir_(dir) {
        std::vector<std::string> args = {"start",
                                         "--javahome",
                                         JVM_TEST_JAVA_HOME,
                                         "--jclasspath",
                                         JVM_FIXTURE_JAR,
                                         "--jifaceclass",
                                         "contract.SigService",
                                         "--clog",
                                         dir.path("launcher.log"),
                                         "--pidfile",
                                         dir.path("launcher.pid"),
                                         "--jvmopt",
                                         "-Dsig.report=" + dir.path("facts"),
                                         "--jvmopt",
                                         "-XX:ErrorFile=" + dir.path("hs_err.log")};
        for (const std::string& option : jvmOptions) {
            args.push_back("--jvmopt");
            args.push_back(option);
        }
        process =
            std::make_unique<SpawnedProcess>(LAUNCHER_BINARY, args, dir.path("output"),
                                             dir.path("errors"), launcherEnvironment(), onTerminal);
    }

    int count(const std::string& fact) const {
        const std::vector<std::string> facts = splitLines(readWholeFile(dir_.path("facts")));
        return static_cast<int>(std::count(facts.begin(), facts.end(), fact));
    }
    int stopMethodCalls() const { return count("stop") + count("stopFast"); }

    bool waitFor(const std::string& fact, std::chrono::milliseconds limit) const {
        return eventually([&] { return count(fact) > 0 || process->hasEnded(); }, limit) &&
               count(fact) > 0;
    }

    // The "... has risen" lines of the log, in their order.
    std::vector<std::string> risenLines() const {
        std::vector<std::string> risen;
        for (const LogLine& line : parseLogLines(readWholeFile(dir_.path("launcher.log")))) {
            if (line.function == "stopRequestListenerSignalHandlerFunc") {
                risen.push_back(line.message);
            }
        }
        return risen;
    }

    std::string describe() const {
        std::ostringstream text;
        text << "output:\n"
             << readWholeFile(dir_.path("output")) << readWholeFile(dir_.path("errors"))
             << "facts:\n"
             << readWholeFile(dir_.path("facts")) << "JVM error file:\n"
             << readWholeFile(dir_.path("hs_err.log")).substr(0, 2000) << "log tail:\n";
        const std::vector<std::string> log = splitLines(readWholeFile(dir_.path("launcher.log")));
        for (size_t i = log.size() > 25 ? log.size() - 25 : 0; i < log.size(); ++i) {
            text << log[i] << "\n";
        }
        return text.str();
    }

    std::unique_ptr<SpawnedProcess> process;

  private:
    const TempDir& dir_;
};

// HotSpot takes SIGINT (for its own shutdown) and SIGUSR2 (to suspend its threads) while
// JNI_CreateJavaVM runs; the fixture's class loader holds the creation right after that.
// A stop request sent there must still end in the stop method, neither in the JVM's own
// shutdown nor nowhere; SIGUSR1, which HotSpot leaves alone, is held the same way.
TEST(StopSignalsThroughLauncherTest, StopSignalsWhileTheJvmIsCreatedReachTheStopMethod) {
    const struct {
        int signalNumber;
        const char* method;
        const char* risen;
    } cases[] = {{SIGINT, "stop", "SIGINT has risen"},
                 {SIGUSR2, "stopFast", "SIGUSR2 has risen"},
                 {SIGUSR1, "stop", "SIGUSR1 has risen"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.risen);
        TempDir dir;
        SigLauncher launcher(dir, {"-Djava.system.class.loader=contract.SigGateLoader",
                                   "-Dsig.gate=" + dir.path("gate-open")});
        ASSERT_TRUE(launcher.waitFor("in gate", 20s)) << launcher.describe();
        launcher.process->signal(c.signalNumber);
        std::this_thread::sleep_for(50ms);
        dir.write("gate-open", "");

        const std::optional<int> end = launcher.process->waitForEnd(20s);
        EXPECT_EQ(0, exitCodeOf(end)) << launcher.describe();
        EXPECT_EQ(1, launcher.count(c.method)) << launcher.describe();
        EXPECT_EQ(1, launcher.stopMethodCalls());
        EXPECT_EQ(1, launcher.count("start returned"));
        EXPECT_EQ(std::vector<std::string>{c.risen}, launcher.risenLines());
    }
}

// Ctrl-C on the launcher's terminal: the kernel sends SIGINT, no process does.
TEST(StopSignalsThroughLauncherTest, CtrlCOnItsTerminalIsASimpleStop) {
    TempDir dir;
    SigLauncher launcher(dir, {}, true);
    ASSERT_TRUE(launcher.waitFor("start", 20s)) << launcher.describe();
    launcher.process->type("\x03");
    const std::optional<int> end = launcher.process->waitForEnd(20s);
    EXPECT_EQ(0, exitCodeOf(end)) << launcher.describe();
    EXPECT_EQ(1, launcher.count("stop"));
    EXPECT_EQ(1, launcher.stopMethodCalls());
    EXPECT_EQ(std::vector<std::string>{"SIGINT has risen"}, launcher.risenLines());
}

// Thousands of simple and fast stop requests from the moment the PID file exists (so a
// stop client could know the launcher) until the process has ended: through the JVM's
// creation, the start, a stop method that takes its time, and the JVM's destruction.
TEST(StopSignalsThroughLauncherTest, ASignalStormWhileStartingAndStoppingEndsInOneStop) {
    TempDir dir;
    SigLauncher launcher(dir, {"-Dsig.stopMillis=300"});
    ASSERT_TRUE(eventually(
        [&] {
            return !readWholeFile(dir.path("launcher.pid")).empty() || launcher.process->hasEnded();
        },
        20s))
        << launcher.describe();

    int sent = 0;
    int sentBeforeStart = -1;
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (!launcher.process->hasEnded() && std::chrono::steady_clock::now() < deadline) {
        launcher.process->signal(SIGUSR1);
        launcher.process->signal(SIGUSR2);
        sent += 2;
        if (sentBeforeStart < 0 && sent % 128 == 0 && launcher.count("start") > 0) {
            sentBeforeStart = sent;
        }
        std::this_thread::sleep_for(50us);
    }
    const std::optional<int> end = launcher.process->waitForEnd(10s);
    const std::string storm = "signals sent: " + std::to_string(sent) +
                              ", before the start method ran: " + std::to_string(sentBeforeStart);
    EXPECT_EQ(0, exitCodeOf(end)) << storm << "\n" << launcher.describe();
    EXPECT_EQ(1, launcher.stopMethodCalls()) << storm << "\n" << launcher.describe();
    EXPECT_EQ(1, launcher.count("start returned"));
    EXPECT_GE(sent, 1000) << "no storm to speak of";
    const std::vector<std::string> risen = launcher.risenLines();
    EXPECT_NE(risen.end(), std::find(risen.begin(), risen.end(), "SIGUSR1 has risen"));
    EXPECT_NE(risen.end(), std::find(risen.begin(), risen.end(), "SIGUSR2 has risen"));
}

long executionSamples(const std::string& recording) {
    const ProcessRunner::Result summary =
        ProcessRunner(std::string(JVM_TEST_JAVA_HOME) + "/bin/jfr")
            .args({"summary", recording})
            .timeout(60s)
            .run();
    for (const std::string& line : splitLines(summary.out)) {
        std::istringstream fields(line);
        std::string name;
        long count = -1;
        if (fields >> name >> count && name == "jdk.ExecutionSample") {
            return count;
        }
    }
    ADD_FAILURE() << "no execution samples in the summary:\n" << summary.out << summary.err;
    return -1;
}

// With profiling on, HotSpot's recorder suspends busy threads with SIGUSR2 a hundred
// times a second. Those are the JVM's own: the service keeps running, and the samples
// they take end up in the recording.
TEST(StopSignalsThroughLauncherTest, TheFlightRecorderSamplesThreadsWithoutStoppingTheService) {
    TempDir dir;
    const std::string recording = dir.path("recording.jfr");
    SigLauncher launcher(dir, {"-Dsig.busyThreads=2",
                               "-XX:StartFlightRecording=settings=profile,filename=" + recording});
    ASSERT_TRUE(launcher.waitFor("start", 20s)) << launcher.describe();
    const bool stoppedEarly = eventually(
        [&] { return launcher.stopMethodCalls() > 0 || launcher.process->hasEnded(); }, 30s);
    EXPECT_FALSE(stoppedEarly) << launcher.describe();

    launcher.process->signal(SIGUSR1);
    const std::optional<int> end = launcher.process->waitForEnd(30s);
    EXPECT_EQ(0, exitCodeOf(end)) << launcher.describe();
    EXPECT_EQ(1, launcher.count("stop"));
    EXPECT_EQ(0, launcher.count("stopFast"));
    EXPECT_EQ(std::vector<std::string>{"SIGUSR1 has risen"}, launcher.risenLines());
    EXPECT_GT(executionSamples(recording), 0);
}

}  // namespace
