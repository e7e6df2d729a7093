#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/LauncherRunner.h"
#include "support/TempDir.h"

// A JVM that cannot be created, and a launcher short of threads: each ends with the
// code of what failed and a message saying so, never with the JVM's own exit code
// or as an internal error.
namespace {

const std::string kLibrary = JVM_TEST_JAVA_HOME "/lib/server/libjvm.so";

// The JVM ends the process while JNI_CreateJavaVM runs: its own text stays on the
// console, the launcher says what it means, and the PID file is gone.
TEST(JvmCreationThroughLauncherTest, AJvmThatEndsTheProcessWhileCreatedEndsWithFour) {
    const std::vector<std::string> rows[] = {
        {"-Xmx1k"},
        {"-Xms1g", "-Xmx64m"},
        {"-XX:+UseG1GC", "-XX:+UseSerialGC"},
        {"-agentlib:launcher-test-missing-agent"},
    };
    for (const std::vector<std::string>& options : rows) {
        TempDir dir;
        std::vector<std::string> args = {"start",         "--quiet",
                                         "--pidfile",     dir.path("pid"),
                                         "--javahome",    JVM_TEST_JAVA_HOME,
                                         "--jclasspath",  JVM_FIXTURE_JAR,
                                         "--jifaceclass", "contract.BothSignatures"};
        for (const std::string& option : options) {
            args.insert(args.end(), {"--jvmopt", option});
        }
        const ProcessRunner::Result result = launcherRunner(args).run();
        EXPECT_EQ(4, result.exitCode) << options[0] << result.summary();
        EXPECT_NE(std::string::npos, result.out.find("Error occurred during initialization of VM"))
            << result.summary();
        EXPECT_EQ("Cannot create JVM with library '" + kLibrary +
                      "': the JVM ended the process while starting.\n",
                  result.err);
        EXPECT_FALSE(pathExists(dir.path("pid")));
    }
}

}  // namespace
