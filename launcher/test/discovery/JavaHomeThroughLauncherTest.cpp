#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/ProcessRunner.h"
#include "support/TempDir.h"

namespace {

// Starts the launcher with no Java home on its command line. The Java home in
// dir/jdk is newer than any real JDK, so the inventory prefers it when it sees it.
ProcessRunner::Result startWithoutHome(const std::string& launcher, const TempDir& dir,
                                       const char* javaHome) {
    std::filesystem::create_directories(dir.path("jdk/lib/server"));
    dir.write("jdk/release", "JAVA_VERSION=\"99.0.1\"\nOS_ARCH=\"x86_64\"\n");
    dir.write("jdk/lib/server/libjvm.so", "not really a library");
    ProcessRunner runner(launcher);
    runner.argv0("launcher")
        .args({"start", "--jclasspath", dir.path(), "--jifaceclass", "app.Main", "--clog",
               dir.path("launcher.log")})
        .env("LC_ALL", "C")
        .unsetEnv("JVM_OPTS")
        .env("LAUNCHER_INVENTORY_JAVA_ROOTS", dir.path());
    javaHome != nullptr ? runner.env("JAVA_HOME", javaHome) : runner.unsetEnv("JAVA_HOME");
    return runner.run();
}

TEST(JavaHomeThroughLauncherTest, TheShippedInventoryAnswersWhenNoHomeIsGiven) {
    TempDir dir;
    ProcessRunner::Result result = startWithoutHome(LAUNCHER_BINARY, dir, nullptr);
    const std::string log = readWholeFile(dir.path("launcher.log"));
    EXPECT_NE(std::string::npos, log.find("javaHome=" + dir.path("jdk") + ","))
        << result.out << result.err << log;
    EXPECT_NE(std::string::npos, log.find("jvmLibrary=" + dir.path("jdk/lib/server/libjvm.so")));
    EXPECT_EQ(std::string::npos, log.find("JAVA_HOME value from a system environment"));
    EXPECT_EQ(std::string::npos, result.out.find("IDS_INVENTORY_CALL_ERROR")) << result.out;
}

// A launcher copied without its library says so once and still uses a good JAVA_HOME.
TEST(JavaHomeThroughLauncherTest, WithoutTheLibraryJavaHomeFromTheEnvironmentIsUsed) {
    TempDir dir;
    const std::string alone = dir.path("launcher");
    std::filesystem::copy_file(LAUNCHER_BINARY, alone);

    ProcessRunner::Result unset = startWithoutHome(alone, dir, nullptr);
    EXPECT_EQ(4, unset.exitCode);
    EXPECT_EQ(
        "IDS_INVENTORY_CALL_ERROR\n"
        "Cannot guess JAVA_HOME, it is not set explicitly, neither Orvik Inventory nor "
        "environment variable contains a suitable Java version.\n",
        unset.out);

    ProcessRunner::Result set = startWithoutHome(alone, dir, dir.path("jdk").c_str());
    EXPECT_EQ(0u, set.out.rfind("IDS_INVENTORY_CALL_ERROR\n", 0)) << set.out;
    const std::string log = readWholeFile(dir.path("launcher.log"));
    EXPECT_NE(std::string::npos, log.find("Using a JAVA_HOME value from a system environment "
                                          "JAVA_HOME=" +
                                          dir.path("jdk")))
        << log;
    EXPECT_NE(std::string::npos, log.find("javaHome=" + dir.path("jdk") + ","));
}

}  // namespace
