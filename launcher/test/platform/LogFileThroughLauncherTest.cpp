#include <gtest/gtest.h>

#include <string>

#include "support/LauncherRunner.h"
#include "support/TempDir.h"

namespace {

// A log that cannot take more (here the file-size limit, as a full disk would) loses
// lines, and the user is told so once, while the launcher goes on to its own end.
TEST(LogFileThroughLauncherTest, ALogThatCannotBeWrittenIsReportedOnceOnTheConsole) {
    TempDir dir;
    const std::string log = dir.path("launcher.log");
    // 1024 bytes; the signal the limit raises is ignored, as the JVM itself does.
    const std::string script = std::string("trap '' XFSZ; ulimit -f 2; exec \"$0\" \"$@\"");
    const ProcessRunner::Result result =
        launcherRunner(
            {"-c", script, LAUNCHER_BINARY, "start", "--javahome", JVM_TEST_JAVA_HOME,
             "--jclasspath", JVM_FIXTURE_JAR, "--jifaceclass", "nonexist.X", "--clog", log},
            "/bin/sh")
            .run();
    EXPECT_EQ(7, result.exitCode) << result.summary();
    const std::string report = "Cannot write launcher log '" + log +
                               "', its lines are being lost. Error: (27) File too large\n";
    const size_t first = result.err.find(report);
    EXPECT_NE(std::string::npos, first) << result.err;
    EXPECT_EQ(std::string::npos, result.err.find(report, first + 1)) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("Cannot find Java class nonexist/X\n"));
}

}  // namespace
