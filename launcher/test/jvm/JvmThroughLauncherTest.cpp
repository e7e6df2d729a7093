#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "support/LauncherRunner.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

// Start mode through the launcher with the fixture jar on the class path: how a
// real JVM and the contract class show in the exit code, the output and the log.
namespace {

using Args = std::vector<std::string>;

struct Launch {
    // "<exit code> <stdout>[stderr: <stderr>]", without the line numbers of
    // frames: where a frame points is the JVM's business.
    std::string outcome;
    std::string log;
};

// The first of contractAndOptions names the contract class in the package "contract";
// the JVM is the build's JDK unless the options name another home or library.
Launch launch(const Args& contractAndOptions) {
    TempDir dir;
    Args args = {
        "start",        "--quiet",       "--clog",        dir.path("launcher.log"),
        "--jclasspath", JVM_FIXTURE_JAR, "--jifaceclass", "contract." + contractAndOptions[0]};
    args.insert(args.end(), contractAndOptions.begin() + 1, contractAndOptions.end());
    if (std::ranges::none_of(contractAndOptions, [](const std::string& a) {
            return a == "--javahome" || a == "--jvmdll";
        })) {
        args.insert(args.end(), {"--javahome", JVM_TEST_JAVA_HOME});
    }
    std::string text = launcherRunner(args).run().summary();
    for (size_t at = text.find(".java:"); at != std::string::npos; at = text.find(".java:", at)) {
        text.erase(at + 5, text.find(')', at) - at - 5);
    }
    return {text, readWholeFile(dir.path("launcher.log"))};
}

// The feature version of the test JDK, from JAVA_VERSION="17.0.15" in its release file.
std::string testJdkFeature() {
    const std::string release = readWholeFile(JVM_TEST_JAVA_HOME "/release");
    const size_t at = release.find("JAVA_VERSION=\"");
    return at == std::string::npos
               ? std::string()
               : release.substr(at + 14, release.find_first_of(".\"", at + 14) - at - 14);
}

TEST(JvmThroughLauncherTest, EachWayTheJvmOrTheContractFailsHasItsCodeAndText) {
    TempDir dir;
    dir.write("launcher.yml", "launcher-parameters:\n  minimal-java-version: 65535\n");
    dir.write("elf32.so", "\177ELF\1" + std::string(60, '\0'));
    // The home given with a slash, with a file in every place a JVM library is looked for.
    for (const std::string layout : {"jre/lib/amd64/server", "lib/amd64/server", "lib/server"}) {
        std::filesystem::create_directories(dir.path("jdk/" + layout));
        dir.write("jdk/" + layout + "/libjvm.so", "");
    }
    const std::pair<std::string, Args> rows[] = {
        {"7 stderr: Cannot find Java class contract/Missing\n", {"Missing"}},
        {"7 stderr: Cannot load Java class contract/BadFormat. Incorrect class format.\n",
         {"BadFormat"}},
        {"7 stderr: Cannot load Java class contract/InitFails.\n", {"InitFails"}},
        {"8 stderr: Cannot find any method of: TwoArgumentsMethodVariant(start), "
         "SingleArgumentMethodVariant(start)\n",
         {"Neither"}},
        // Every frame of every cause, nothing shortened, up to the cause that
        // cannot report its frames.
        {"8 stderr: Java exception while invoking contract/NestedFailure.start: "
         "java.lang.IllegalStateException: outer failure\n"
         "    contract.NestedFailure.start(NestedFailure.java)\n"
         "Caused by: java.lang.IllegalArgumentException: middle failure\n"
         "    contract.NestedFailure.start(NestedFailure.java)\n"
         "Caused by: java.lang.UnsupportedOperationException: root cause\n"
         "    contract.NestedFailure.start(NestedFailure.java)\n",
         {"NestedFailure"}},
        // The JVM's own version, not the minimal one, is named as the JVM's.
        {"6 stderr: Cannot use JVM library '" JVM_TEST_JAVA_HOME "/lib/server/libjvm.so': it runs "
         "Java " +
             testJdkFeature() + ", and the application needs Java 65535 or later.\n",
         {"Neither", "--instance", dir.path()}},
        {"4 stderr: JVM library '" INVENTORY_LIBRARY "' has no JNI_CreateJavaVM function\n",
         {"Neither", "--jvmdll", INVENTORY_LIBRARY}},
        {"2 stderr: '" + dir.path("elf32.so") + "' is not a 64-bit library\n",
         {"Neither", "--jvmdll", dir.path("elf32.so")}},
        {"20 stderr: A library format is not ELF: '" + dir.path("jdk/") +
             "/jre/lib/amd64/server/libjvm.so'\n",
         {"Neither", "--javahome", dir.path("jdk/")}},
        {"4 Cannot find JVM library. Paths tried: '" + dir.path("jdk/lib") +
             "/jre/lib/amd64/server/libjvm.so', '" + dir.path("jdk/lib") +
             "/lib/amd64/server/libjvm.so', '" + dir.path("jdk/lib") + "/lib/server/libjvm.so'\n",
         {"Neither", "--javahome", dir.path("jdk/lib")}},
    };
    for (auto [outcome, options] : rows) {
        // The JVM reports any misuse of JNI on the console, and spoils the outcome.
        options.insert(options.end(), {"--jvmopt", "-Xcheck:jni"});
        EXPECT_EQ(outcome, launch(options).outcome);
    }
}

// The map-taking start wins over the plain one, and runs on its own named thread
// with the contract's loader as context loader and what the launcher was given.
TEST(JvmThroughLauncherTest, TheContractRunsWithWhatTheLauncherWasGiven) {
    // -Xcheck:jni: the JVM reports any misuse of JNI on the console.
    const Launch run =
        launch({"BothSignatures", "--jifacearg", "alpha", "--jifacearg", "beta gamma", "--jvmopt",
                "-Dlauncher.test.option=from the launcher", "--jvmopt", "-Xcheck:jni"});
    EXPECT_EQ(
        "0 launcher-start-thread true from the launcher alpha|beta gamma daemon=Boolean:false "
        "instance.root=Path: quiet=Boolean:true\n",
        run.outcome);
    for (const std::string message :
         {"JVM argument JVM argument='-Dlauncher.test.option=from the launcher'",
          "Do call JMethod args=alpha;beta gamma, pathProperties='instance.root = ;', "
          "booleanProperties='daemon = FALSE;quiet = TRUE;', method=start, "
          "class=contract/BothSignatures",
          "JVM destroyed"}) {
        EXPECT_NE(std::string::npos, run.log.find(",message=" + message + "\n")) << run.log;
    }
}

// System.exit and Runtime.halt end the launcher with their code, and the exit
// hook logs even a 0 in the words of an abnormal exit.
TEST(JvmThroughLauncherTest, SystemExitAndHaltAreLoggedByTheExitHook) {
    for (const auto& [how, exitCode] : {std::pair{"exit", "0"}, std::pair{"halt", "3"}}) {
        const Launch run = launch({"BothSignatures", "--jifacearg", how});
        EXPECT_EQ(exitCode + std::string(" "), run.outcome);
        std::vector<LogLine> lines = parseLogLines(run.log);
        std::erase_if(lines,
                      [](const LogLine& line) { return line.function != "JvmSystemExitHook"; });
        ASSERT_EQ(1u, lines.size()) << run.log;
        EXPECT_EQ(
            "WARN JVM exited with nonzero exit code pid=" + lines[0].pid + ", exitCode=" + exitCode,
            lines[0].level + " " + lines[0].message);
    }
}

}  // namespace
