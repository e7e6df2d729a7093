#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/SpawnedProcess.h"
#include "support/TempDir.h"

namespace {

using std::chrono::seconds;

// English texts and no JVM options from outside, whatever the test runs under.
std::vector<std::string> launcherEnvironment() {
    std::vector<std::string> environment{"LC_ALL=C", "JVM_OPTS="};
#if defined(__SANITIZE_ADDRESS__)
    // HotSpot handles SIGSEGV itself, and its threads are still alive when the
    // leak check would run at exit.
    environment.push_back("ASAN_OPTIONS=detect_leaks=0:handle_segv=0");
#endif
    return environment;
}

// Generous: a JVM starts in well under a second, but sanitizers and a busy
// machine slow everything down.
constexpr seconds kLimit{60};

// The example as a user runs it, on a copy of the instance the build prepared,
// so each test has its own logs. The shorter interval comes after the file's
// own, and the last one given wins.
class HeartbeatExampleTest : public ::testing::Test {
  protected:
    HeartbeatExampleTest() {
        dir.mkdir("instance");
        dir.mkdir("instance/lib");
        dir.mkdir("instance/logs");
        std::filesystem::copy_file(HEARTBEAT_TEMPLATE_DIR "/launcher.yml",
                                   dir.path("instance/launcher.yml"));
        std::filesystem::copy_file(HEARTBEAT_INSTANCE_DIR "/lib/heartbeat.jar",
                                   dir.path("instance/lib/heartbeat.jar"));
    }

    std::vector<std::string> startArgs(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> args{"start",          "--instance",        instance,
                                      "--javahome",     HEARTBEAT_JAVA_HOME, "--jifacearg",
                                      "interval-ms=100"};
        args.insert(args.end(), more.begin(), more.end());
        return args;
    }

    std::unique_ptr<SpawnedProcess> spawn(const std::vector<std::string>& args,
                                          const std::string& name) const {
        return std::make_unique<SpawnedProcess>(LAUNCHER_BINARY, args, dir.path(name + ".out"),
                                                dir.path(name + ".err"), launcherEnvironment());
    }

    std::string file(const std::string& name) const { return readWholeFile(dir.path(name)); }

    // Everything a failure needs to be understood.
    std::string story() const {
        return "\n--- stdout\n" + file("launcher.out") + "--- stderr\n" + file("launcher.err") +
               "--- heartbeat.log\n" + file("instance/logs/heartbeat.log") + "--- launcher.log\n" +
               file("instance/logs/launcher.log");
    }

    TempDir dir;
    const std::string instance = dir.path("instance");
};

// The last line of a text, without its line feed.
std::string lastLine(std::string text) {
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    const size_t start = text.rfind('\n');
    return start == std::string::npos ? text : text.substr(start + 1);
}

// The service's closing line. Looked for rather than taken from the end: the
// launcher's own console output may reach a file only when the launcher exits.
std::string stopLine(const std::string& text) {
    const size_t start = text.find("Heartbeat stopped cleanly after ");
    return start == std::string::npos ? std::string()
                                      : text.substr(start, text.find('\n', start) - start);
}

TEST_F(HeartbeatExampleTest, CtrlCInTheForegroundStopsTheServiceCleanlyWithExitCodeZero) {
    auto launcher = spawn(startArgs(), "launcher");
    ASSERT_TRUE(launcher->waitForText(dir.path("launcher.out"), "heartbeat 2 at", kLimit))
        << story();

    launcher->signal(SIGINT);
    const std::optional<int> status = launcher->waitForEnd(kLimit);
    ASSERT_TRUE(status.has_value()) << story();
    EXPECT_EQ(0, exitCodeOf(status)) << story();

    const std::string out = file("launcher.out");
    EXPECT_NE(std::string::npos,
              out.find("Heartbeat example started (launcher 3.10.5+8, x86-64), PID=" +
                       std::to_string(launcher->pid()) + ". Press Ctrl+C to stop.\n"))
        << story();
    EXPECT_NE(std::string::npos, out.find("Heartbeat service running: instance " + instance +
                                          ", daemon false, one beat every 100 ms\n"))
        << story();
    EXPECT_NE(std::string::npos, stopLine(out).find(" beats (stop)")) << story();
    EXPECT_EQ("", file("launcher.err"));
    // The JVM option built from ${instance.root} points the service at the instance.
    EXPECT_EQ(stopLine(out), lastLine(file("instance/logs/heartbeat.log")));
    EXPECT_NE(std::string::npos, file("instance/logs/launcher.log").find("Normal exit"));
}

// Stop mode on a launcher's PID: the client ends only once the launcher is gone,
// so the launcher, a child of the test, is reaped while the client waits.
TEST_F(HeartbeatExampleTest, AFastStopByPidCallsStopFastAndTheClientReportsTheStop) {
    auto launcher = spawn(startArgs(), "launcher");
    ASSERT_TRUE(launcher->waitForText(dir.path("launcher.out"), "heartbeat 1 at", kLimit))
        << story();

    const std::string pid = std::to_string(launcher->pid());
    auto client = spawn({"stop", "--pid", pid, "--fast"}, "client");
    EXPECT_EQ(0, exitCodeOf(launcher->waitForEnd(kLimit))) << story();
    EXPECT_EQ(0, exitCodeOf(client->waitForEnd(kLimit)));
    EXPECT_EQ("Launcher with PID=" + pid + " stopped gracefully\n", file("client.err"));
    EXPECT_NE(std::string::npos, stopLine(file("launcher.out")).find(" beats (stopFast)"))
        << story();
}

// The test becomes the subreaper of the launcher's detached half, so it can see
// that half end and take its exit code, as systemd does for a forking service.
class ChildSubreaper {
  public:
    ChildSubreaper() { prctl(PR_SET_CHILD_SUBREAPER, 1); }
    ~ChildSubreaper() { prctl(PR_SET_CHILD_SUBREAPER, 0); }
    ChildSubreaper(const ChildSubreaper&) = delete;
    ChildSubreaper& operator=(const ChildSubreaper&) = delete;
};

TEST_F(HeartbeatExampleTest, ADaemonWithAPidFileIsStoppedGracefullyByStopMode) {
    ChildSubreaper subreaper;
    const std::string pidFile = dir.path("heartbeat.pid");
    auto start = spawn(startArgs({"--daemon", "--pidfile", pidFile}), "launcher");
    // The command returns once the launcher has detached.
    ASSERT_EQ(0, exitCodeOf(start->waitForEnd(kLimit))) << story();
    ASSERT_TRUE(waitForText(dir.path("instance/logs/heartbeat.log"), "heartbeat 2 at", kLimit))
        << story();

    const std::string pid = file("heartbeat.pid");
    ASSERT_FALSE(pid.empty());
    ASSERT_EQ(std::string::npos, pid.find_first_not_of("0123456789")) << pid;
    EXPECT_NE(std::to_string(start->pid()), pid);
    // A daemon is told to be quiet: the beats go to the file only, without a banner.
    EXPECT_EQ("", file("launcher.out"));
    EXPECT_NE(std::string::npos, file("instance/logs/heartbeat.log").find(", daemon true, "));

    auto client = spawn({"stop", "--pidfile", pidFile, "--timeout", "30000"}, "client");
    // A detached launcher tells a graceful stop by its exit code.
    EXPECT_EQ(100, exitCodeOf(reapWithin(std::stoi(pid), kLimit))) << story();
    EXPECT_EQ(0, exitCodeOf(client->waitForEnd(kLimit)));
    EXPECT_EQ("Launcher with PID=" + pid + " stopped gracefully\n", file("client.err"));
    EXPECT_FALSE(pathExists(pidFile));
    EXPECT_NE(std::string::npos,
              lastLine(file("instance/logs/heartbeat.log")).find(" beats (stop)"))
        << story();
}

TEST_F(HeartbeatExampleTest, AServiceThatRejectsItsArgumentsFailsTheStartWithExitCodeEight) {
    auto launcher = spawn(startArgs({"--jifacearg", "bogus"}), "launcher");
    EXPECT_EQ(8, exitCodeOf(launcher->waitForEnd(kLimit))) << story();
    const std::string rejection = "java.lang.IllegalArgumentException: Unknown argument 'bogus'";
    EXPECT_NE(std::string::npos, file("launcher.err").find(rejection)) << story();
}

}  // namespace
