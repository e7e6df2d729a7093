// JavaVmManager, JMethodCaller and the method variants in a real JVM, run by
// the JVM test host.

#include <gtest/gtest.h>

#include "jvm/JvmHost.h"
#include "support/LogLines.h"

namespace {

// The whole normal life on every installed JDK: the minimal version equal to the
// real one is accepted, the map-taking start wins, both threads run under their
// names with the contract's loader, a JVM option reaches Java, and the JVM goes
// away cleanly.
TEST(JavaVmManagerJvmTest, NormalLifeOnEveryInstalledJdk) {
    for (const JavaHome& home : installedJdks()) {
        SCOPED_TRACE(home.path);
        // The JDK's launcher library stands in for a dependency: it needs nothing
        // of the JVM's.
        const std::string dependency = home.path + "/lib/libjli.so";
        JvmHostRun run =
            runJvmHost("life", home, home.feature, "contract.BothSignatures", {dependency});
        ASSERT_EQ(0, run.process.exitCode) << run.process.out << run.process.err;
        EXPECT_EQ("ok | true | false | two | ok | ok | 2 | true",
                  run.facts("load stopExists stopFastExists java.start.variant start stop "
                            "finishedCallbacks unloaded"));
        EXPECT_EQ("launcher-start-thread | true | launcher-stop-thread | true",
                  run.facts("java.start.thread java.start.contextLoaderIsContractLoader "
                            "java.stop.thread java.stop.contextLoaderIsContractLoader"));
        // A key in both maps ends up with its path.
        EXPECT_EQ(
            "from the launcher | 2:alpha|beta gamma | debug:Boolean:true;quiet:Boolean:false;"
            "shared:Path:/opt/shared;zeta.dir:Path:/tmp/zeta; | halt|now",
            run.facts("java.start.option java.start.args java.start.map java.stop.args"));
        // A clean unload is no exit of the JVM.
        EXPECT_EQ("20 | Illegal Daemon state: stop() called twice | <no exitCallback>",
                  run.facts("secondStop secondStop.message exitCallback"));

        EXPECT_EQ(1, run.logged("JVM library dependency loaded jvmLibDependency=" + dependency));
        EXPECT_EQ(1, run.logged("JVM library loaded jvmLibPath=" + home.libjvm()));
        EXPECT_EQ(1, run.logged("JVM argument JVM argument='-Dlauncher.test.option=from the "
                                "launcher'"));
        EXPECT_EQ(1, run.logged("Do call JMethod args=alpha;beta gamma, "
                                "pathProperties='shared = /opt/shared;zeta.dir = /tmp/zeta;', "
                                "booleanProperties='debug = TRUE;quiet = FALSE;shared = TRUE;', "
                                "method=start, class=contract/BothSignatures"));
        EXPECT_EQ(1, run.logged("Destroying JVM."));
        EXPECT_EQ(1, run.logged("JVM destroyed"));
    }
}

TEST(JavaVmManagerJvmTest, TooOldAJavaIsRefusedWithCode6AndTheJvmDestroyed) {
    const JavaHome home = installedJdks().front();
    JvmHostRun run = runJvmHost("life", home, home.feature + 1, "contract.SingleOnly");
    const std::string refusal = "Cannot create JVM " + std::to_string(home.feature + 1) +
                                " instance with library '" + home.libjvm() +
                                "'. Java version is not sufficient for the application.";
    EXPECT_EQ("6 | " + refusal, run.facts("load load.message")) << run.process.err;
    EXPECT_EQ(1, run.logged(refusal + " jvmLibPath=" + home.libjvm() + ", code=0"));
    EXPECT_EQ(1, run.logged("JVM destroyed"));
    EXPECT_EQ("<no stopExists>", run.fact("stopExists")) << "the manager has no JVM left";
}

// System.exit and Runtime.halt from the start thread end the process through the
// exit hook, which logs even a code of 0 in the words of an abnormal exit.
TEST(JavaVmManagerJvmTest, SystemExitAndHaltAreLoggedByTheExitHook) {
    for (const auto& [contract, exitCode] :
         {std::pair{"contract.ExitsZero", 0}, std::pair{"contract.Halts", 3}}) {
        JvmHostRun run = runJvmHost("life", installedJdks().front(), 8, contract);
        EXPECT_EQ(exitCode, run.process.exitCode) << run.process.out << run.process.err;
        EXPECT_EQ("called | <no start>", run.facts("exitCallback start"));
        std::vector<LogLine> hook = parseLogLines(run.log);
        std::erase_if(hook, [](const LogLine& line) {
            return !line.message.starts_with("JVM exited with nonzero exit code");
        });
        ASSERT_EQ(1u, hook.size()) << run.log;
        EXPECT_EQ("WARN JavaVmManager JvmSystemExitHook JVM exited with nonzero exit code pid=" +
                      hook[0].pid + ", exitCode=" + std::to_string(exitCode),
                  hook[0].level + " " + hook[0].className + " " + hook[0].function + " " +
                      hook[0].message);
    }
}

// One JVM, run with -Xcheck:jni so that misused references and unchecked
// exceptions are reported on standard error: the class loading failures, the
// variant walk and the texts of Java exceptions.
TEST(JMethodCallerJvmTest, CallsAndTheirFailuresInARealJvm) {
    JvmHostRun run = runJvmHost("calls", installedJdks().front(), 8, "contract.SingleOnly");
    ASSERT_EQ(0, run.process.exitCode) << run.process.out << run.process.err;
    EXPECT_EQ(std::string::npos, run.process.err.find("WARNING in native method"))
        << run.process.err;
    EXPECT_EQ(std::string::npos, run.process.err.find("FATAL ERROR")) << run.process.err;

    // Empty arguments arrive as an empty array and an empty HashMap; a second
    // start is refused and leaves the first run alone.
    EXPECT_EQ("ok | 0 | java.util.HashMap:0 | caller-thread | true",
              run.facts("echo java.echo.args java.echo.map java.echo.thread "
                        "java.echo.contextLoaderIsContractLoader"));
    EXPECT_EQ(1, run.logged("Do call JMethod args=, pathProperties=, booleanProperties=, "
                            "method=start, class=contract/Echo"));
    EXPECT_EQ("20 | Cannot run JMethodCaller twice", run.facts("echo.again echo.again.message"));
    // The map-taking variant is passed over where only the plain start exists.
    EXPECT_EQ("ok | true | 0", run.facts("single single.exists java.single.args"));

    // No method at all: the start method's code and every variant, or the stop
    // method's code and its name. Class loading failures, thrown by start
    // itself, all have code 7.
    const std::pair<std::string, std::string> failures[] = {
        {"neither",
         "8 | Cannot find any method of: TwoArgumentsMethodVariant(start), "
         "SingleArgumentMethodVariant(start)"},
        {"noStop", "9 | Cannot find method stop"},
        {"Missing", "7 | Cannot find Java class contract/Missing"},
        {"BadFormat", "7 | Cannot load Java class contract/BadFormat. Incorrect class format."},
        {"InitFails", "7 | Cannot load Java class contract/InitFails."},
    };
    for (const auto& [key, failure] : failures) {
        EXPECT_EQ(failure + " | false", run.facts(key + " " + key + ".message " + key + ".exists"));
    }
    EXPECT_EQ(3, run.logged("Cannot find class class=contract/"));
    EXPECT_EQ("false", run.fact("pendingAfterCalls")) << "a failed load leaves no exception";

    // Two nested causes: every frame, every cause, nothing shortened. Where the
    // frames point is the JVM's business, so their line numbers are left out.
    auto withoutLines = [](std::string text) {
        for (size_t at = text.find(".java:"); at != std::string::npos;
             at = text.find(".java:", at)) {
            text.erase(at + 5, text.find(')', at) - at - 5);
        }
        return text;
    };
    const std::string nested = run.fact("nested.message");
    EXPECT_EQ("java", run.fact("nested"));
    EXPECT_EQ((std::vector<std::string>{
                  "Java exception while invoking contract/NestedFailure.start: "
                  "java.lang.IllegalStateException: outer failure",
                  "    contract.NestedFailure.start(NestedFailure.java)",
                  "Caused by: java.lang.IllegalArgumentException: middle failure",
                  "    contract.NestedFailure.middle(NestedFailure.java)",
                  "    contract.NestedFailure.start(NestedFailure.java)",
                  "Caused by: java.lang.UnsupportedOperationException: root cause",
                  "    contract.NestedFailure.innermost(NestedFailure.java)",
                  "    contract.NestedFailure.middle(NestedFailure.java)",
                  "    contract.NestedFailure.start(NestedFailure.java)",
              }),
              splitLines(withoutLines(nested)));
    // The log carries the same text, quoted because it spans lines.
    EXPECT_NE(std::string::npos,
              run.log.find(",message=JMethod thrown javaExceptionMessage='" +
                           nested.substr(nested.find(": ") + 2) +
                           "', callingMethodName=start, callingClassName=contract/NestedFailure\n"))
        << run.log;
    // A cause that cannot report its trace ends the text where it stands.
    EXPECT_EQ(
        "Java exception while invoking contract/BrokenTrace.start: "
        "java.lang.RuntimeException: reportable\n"
        "    contract.BrokenTrace.start(BrokenTrace.java)",
        withoutLines(run.fact("broken.message")));
    EXPECT_EQ(
        "java Java exception while invoking contract/StopThrows.stop: "
        "java.lang.IllegalStateException: stop refused\n"
        "    contract.StopThrows.stop(StopThrows.java)",
        withoutLines(run.fact("stopThrows") + " " + run.fact("stopThrows.message")));
}

}  // namespace
