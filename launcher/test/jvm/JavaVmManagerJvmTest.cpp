#include <gtest/gtest.h>

#include <algorithm>

#include "jvm/JavaVmManager.h"
#include "jvm/JvmHost.h"

namespace {

// The whole normal life on one JDK: the minimal version equal to the real one is
// accepted, the map-taking start wins, both threads run under their names with
// the contract's loader, a JVM option reaches Java, and the JVM goes away cleanly.
void expectSmoke(const JavaHome& home) {
    // The JDK's launcher library stands in for a dependency: it needs nothing of
    // the JVM's.
    const std::string dependency = home.path + "/lib/libjli.so";
    JvmHostRun run = runJvmHost("smoke", home, home.feature, {dependency});
    ASSERT_EQ(0, run.process.exitCode) << run.process.out << run.process.err;

    EXPECT_EQ("ok", run.fact("load"));
    EXPECT_EQ("true", run.fact("stopExists"));
    EXPECT_EQ("false", run.fact("stopFastExists"));

    EXPECT_EQ("two", run.fact("java.start.variant"));
    EXPECT_EQ("launcher-start-thread", run.fact("java.start.thread"));
    EXPECT_EQ("true", run.fact("java.start.contextLoaderIsContractLoader"));
    EXPECT_EQ("from the launcher", run.fact("java.start.option"));
    EXPECT_EQ("2:alpha|beta gamma", run.fact("java.start.args"));
    EXPECT_EQ("java.util.HashMap", run.fact("java.start.mapClass"));
    // A key in both maps ends up with its path.
    EXPECT_EQ(
        "debug:Boolean:true;quiet:Boolean:false;shared:Path:/opt/shared;"
        "zeta.dir:Path:/tmp/zeta;",
        run.fact("java.start.map"));
    EXPECT_EQ("ok", run.fact("start"));
    EXPECT_EQ("1", run.fact("startCallbacks"));

    EXPECT_EQ("launcher-stop-thread", run.fact("java.stop.thread"));
    EXPECT_EQ("true", run.fact("java.stop.contextLoaderIsContractLoader"));
    EXPECT_EQ("halt|now", run.fact("java.stop.args"));
    EXPECT_EQ("ok", run.fact("stop"));
    EXPECT_EQ("1", run.fact("stopCallbacks"));
    EXPECT_EQ("20", run.fact("secondStop.code"));
    EXPECT_EQ("Illegal Daemon state: stop() called twice", run.fact("secondStop.message"));

    EXPECT_EQ("true", run.fact("unloaded"));
    EXPECT_EQ("ok", run.fact("unloadedTwice"));
    EXPECT_FALSE(run.hasFact("exitCallback")) << "a clean unload is not a JVM exit";

    std::vector<std::string> log = run.allLogMessages();
    auto dependencyLine = std::find(log.begin(), log.end(),
                                    "JVM library dependency loaded jvmLibDependency=" + dependency);
    ASSERT_NE(log.end(), dependencyLine) << run.log;
    EXPECT_NE(log.end(),
              std::find(dependencyLine, log.end(), "JVM library loaded jvmLibPath=" + home.libjvm));

    std::vector<std::string> arguments = run.logMessages("JVM argument ");
    ASSERT_EQ(5u, arguments.size());
    EXPECT_EQ(
        "JVM argument JVM argument='-Djava.class.path=" + std::string(JVM_FIXTURE_CLASSES) + "'",
        arguments.front());
    EXPECT_EQ("JVM argument JVM argument='-Dlauncher.test.option=from the launcher'",
              arguments.back());
    EXPECT_EQ(1u, run.logMessages("JVM created result=0").size());
    EXPECT_EQ(1u, run.logMessages("Do call JMethod args=alpha;beta gamma, "
                                  "pathProperties='shared = /opt/shared;zeta.dir = /tmp/zeta;', "
                                  "booleanProperties='debug = TRUE;quiet = FALSE;shared = TRUE;', "
                                  "method=start, class=contract/BothSignatures")
                      .size());
    EXPECT_EQ(1u, run.logMessages("Do call JMethod args=halt;now, method=stop, "
                                  "class=contract/BothSignatures")
                      .size());
    auto destroying = std::find(log.begin(), log.end(), "Destroying JVM.");
    ASSERT_NE(log.end(), destroying);
    EXPECT_NE(log.end(), std::find(destroying, log.end(), "JVM destroyed"));
    EXPECT_EQ(1, std::count(log.begin(), log.end(), "Destroying JVM."));
}

TEST(JavaVmManagerJvmTest, NormalLifeOnTheBuildJdk) {
    expectSmoke(primaryJavaHome());
}

TEST(JavaVmManagerJvmTest, NormalLifeOnAnotherInstalledJdk) {
    std::optional<JavaHome> other = secondJavaHome();
    if (!other) {
        GTEST_SKIP() << "no second JDK under /usr/lib/jvm";
    }
    expectSmoke(*other);
}

TEST(JavaVmManagerJvmTest, TooOldJavaIsRefusedAndTheJvmDestroyed) {
    JavaHome home = primaryJavaHome();
    JvmHostRun run = runJvmHost("version", home, home.feature + 1);
    ASSERT_EQ(0, run.process.exitCode) << run.process.out << run.process.err;

    std::string refusal = "Cannot create JVM " + std::to_string(home.feature + 1) +
                          " instance with library '" + home.libjvm +
                          "'. Java version is not sufficient for the application.";
    EXPECT_EQ("6", run.fact("load.code"));
    EXPECT_EQ(refusal, run.fact("load.message"));
    EXPECT_EQ("true", run.fact("jvmAfterFailure"));
    EXPECT_EQ(1u, run.logMessages(refusal + " jvmLibPath=" + home.libjvm + ", code=0").size());
    EXPECT_EQ(1u, run.logMessages("Destroying JVM.").size());

    // HotSpot refuses a second JVM in the process: the JNI failure path, code 4.
    EXPECT_EQ("4", run.fact("secondLoad.code"));
    EXPECT_EQ(
        "Cannot create JVM 8 instance with library '" + home.libjvm + "'. Error -1: unknown error",
        run.fact("secondLoad.message"));
}

// The text between "<name>=" and the next "," in a log line.
std::string field(const std::string& line, const std::string& name, size_t from = 0) {
    size_t at = line.find(name + "=", from);
    if (at == std::string::npos) {
        return "<no " + name + ">";
    }
    at += name.size() + 1;
    return line.substr(at, line.find(',', at) - at);
}

// The exit hook's line: "JVM exited with nonzero exit code pid=N, exitCode=C",
// logged by the hook itself with the process's own pid.
void expectExitHookLine(const JvmHostRun& run, int exitCode) {
    const std::string marker = ",class=JavaVmManager,file=JavaVmManager.cpp,";
    const std::string message = "message=JVM exited with nonzero exit code pid=";
    std::vector<std::string> hookLines;
    for (const std::string& line : splitAtNewlines(run.log)) {
        if (line.find(marker) != std::string::npos && line.find(message) != std::string::npos) {
            hookLines.push_back(line);
        }
    }
    ASSERT_EQ(1u, hookLines.size()) << run.log;
    const std::string& line = hookLines.front();
    EXPECT_EQ("WARN", field(line, "level"));
    EXPECT_EQ("JvmSystemExitHook", field(line, "func"));
    size_t messageAt = line.find(message);
    EXPECT_EQ(field(line, "pid"), field(line, "pid", messageAt));
    EXPECT_EQ(std::to_string(exitCode), line.substr(line.rfind("exitCode=") + 9));
    EXPECT_EQ("called", run.fact("exitCallback"));
    EXPECT_FALSE(run.hasFact("survived"));
}

TEST(JavaVmManagerJvmTest, SystemExitAndHaltGoThroughTheExitHook) {
    JavaHome home = primaryJavaHome();
    JvmHostRun exited = runJvmHost("exit", home, home.feature);
    EXPECT_EQ(0, exited.process.exitCode) << exited.process.out << exited.process.err;
    EXPECT_EQ("launcher-start-thread", exited.fact("java.exit.thread"));
    // Code 0 is reported too, in the words of an abnormal exit.
    expectExitHookLine(exited, 0);

    JvmHostRun halted = runJvmHost("halt", home, home.feature);
    EXPECT_EQ(3, halted.process.exitCode) << halted.process.out << halted.process.err;
    expectExitHookLine(halted, 3);
}

}  // namespace
