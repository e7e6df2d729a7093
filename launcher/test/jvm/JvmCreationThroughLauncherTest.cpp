#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "support/LauncherRunner.h"
#include "support/TempDir.h"

// A JVM that cannot be created, and a launcher short of threads: each ends with the
// code of what failed and a message saying so, never with the JVM's own exit code
// or as an internal error.
namespace {

namespace fs = std::filesystem;

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

// From a limit of processes too low to run anything up to one that lets the service
// run, every start either fails with 4 (the JVM could not be created), with 20 and what
// could not be started, or runs. Tasks of the same user elsewhere on the machine count
// against the limit too, so the search walks the limits rather than naming them, as a
// user no other test runs as.
TEST(JvmCreationThroughLauncherTest, EveryThreadThatCannotStartEndsWithTwentyAndItsName) {
    if (!canLimitProcesses()) {
        GTEST_SKIP() << "needs root, setpriv and prlimit: root ignores the process limit";
    }
    TempDir dir;
    ASSERT_EQ(0, chmod(dir.path().c_str(), 0777));
    fs::copy_file(LAUNCHER_BINARY, dir.path("launcher"));
    fs::copy_file(JVM_FIXTURE_JAR, dir.path("fixtures.jar"));
    const std::string created = "Cannot create JVM with library '" + kLibrary +
                                "': the JVM ended the process while starting.\n";
    const std::set<std::string> notStarted = {
        "Cannot start waiting for a stop signal. Error: Resource temporarily unavailable\n",
        "Cannot start thread 'launcher-start-thread'. Error: Resource temporarily unavailable\n",
        "Cannot load Java class contract/BothSignatures: the JVM cannot start a thread it needs. "
        "Error: unable to create native thread: possibly out of memory or process/resource "
        "limits reached\n"};
    std::set<std::string> seen;
    bool ran = false;
    for (int limit = 1; limit <= 400 && !ran; ++limit) {
        const std::string nproc = "--nproc=" + std::to_string(limit) + ":" + std::to_string(limit);
        ProcessRunner runner = launcherRunner(
            {nproc, "/usr/bin/setpriv", "--reuid=61001", "--regid=61001", "--clear-groups",
             dir.path("launcher"), "start", "--quiet", "--javahome", JVM_TEST_JAVA_HOME,
             "--jclasspath", dir.path("fixtures.jar"), "--jifaceclass", "contract.BothSignatures"},
            "/usr/bin/prlimit");
        const ProcessRunner::Result result = runner.workingDirectory(dir.path()).run();
        const std::string at = "limit " + std::to_string(limit) + ": " + result.summary();
        if (result.exitCode == 126) {
            // Too low for setpriv to run the launcher at all.
            continue;
        }
        // The JVM's own warnings may stand before the launcher's last line.
        const std::string last = result.err.substr(
            result.err.rfind('\n', result.err.size() >= 2 ? result.err.size() - 2 : 0) + 1);
        if (result.exitCode == 4) {
            EXPECT_EQ(created, last) << at;
        } else if (result.exitCode == 20) {
            EXPECT_TRUE(notStarted.contains(last)) << at;
            seen.insert(last);
        } else {
            ASSERT_EQ(0, result.exitCode) << at;
            ran = true;
        }
    }
    EXPECT_TRUE(ran);
    EXPECT_FALSE(seen.empty());
}

}  // namespace
