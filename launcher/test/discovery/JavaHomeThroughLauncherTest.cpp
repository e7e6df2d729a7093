#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/ProcessRunner.h"
#include "support/TempDir.h"

namespace {

// A Java home that only the inventory's and the release file's rules look at:
// newer than any real JDK, so the inventory picks it over the machine's own.
void makeJavaHome(const TempDir& dir, const std::string& name) {
    dir.mkdir(name);
    dir.write(name + "/release", "JAVA_VERSION=\"99.0.1\"\nOS_ARCH=\"x86_64\"\n");
    std::filesystem::create_directories(dir.path(name + "/lib/server"));
    dir.write(name + "/lib/server/libjvm.so", "not really a library");
}

ProcessRunner::Result startWithoutJavaHome(const std::string& launcher, const TempDir& dir) {
    return ProcessRunner(launcher)
        .argv0("launcher")
        .args({"start", "--jclasspath", dir.path(), "--jifaceclass", "app.Main", "--clog",
               dir.path("launcher.log")})
        .env("LC_ALL", "C")
        .unsetEnv("JVM_OPTS")
        .env("LAUNCHER_INVENTORY_JAVA_ROOTS", dir.path("roots"))
        .unsetEnv("JAVA_HOME")
        .run();
}

TEST(JavaHomeThroughLauncherTest, TheShippedInventoryAnswersWhenNoHomeIsGiven) {
    TempDir dir;
    dir.mkdir("roots");
    makeJavaHome(dir, "roots/jdk-99");
    ProcessRunner::Result result = startWithoutJavaHome(LAUNCHER_BINARY, dir);
    const std::string log = readWholeFile(dir.path("launcher.log"));
    EXPECT_NE(std::string::npos, log.find("javaHome=" + dir.path("roots/jdk-99") + ","))
        << result.out << result.err << log;
    EXPECT_NE(std::string::npos,
              log.find("jvmLibrary=" + dir.path("roots/jdk-99") + "/lib/server/libjvm.so"));
    EXPECT_EQ(std::string::npos, log.find("JAVA_HOME value from a system environment"));
    EXPECT_EQ(std::string::npos, result.out.find("IDS_INVENTORY_CALL_ERROR")) << result.out;
}

// A launcher copied without its library says so once and still uses a good JAVA_HOME.
TEST(JavaHomeThroughLauncherTest, WithoutTheLibraryJavaHomeFromTheEnvironmentIsUsed) {
    TempDir dir;
    dir.mkdir("roots");
    makeJavaHome(dir, "jdk");
    const std::string alone = dir.path("launcher");
    std::filesystem::copy_file(LAUNCHER_BINARY, alone);

    ProcessRunner::Result unset = startWithoutJavaHome(alone, dir);
    EXPECT_EQ(4, unset.exitCode);
    EXPECT_EQ(
        "IDS_INVENTORY_CALL_ERROR\n"
        "Cannot guess JAVA_HOME, it is not set explicitly, neither Orvik Inventory nor "
        "environment variable contains a suitable Java version.\n",
        unset.out);

    ProcessRunner::Result fromEnvironment =
        ProcessRunner(alone)
            .argv0("launcher")
            .args({"start", "--jclasspath", dir.path(), "--jifaceclass", "app.Main", "--clog",
                   dir.path("env.log")})
            .env("LC_ALL", "C")
            .env("JAVA_HOME", dir.path("jdk"))
            .run();
    EXPECT_EQ(0u, fromEnvironment.out.rfind("IDS_INVENTORY_CALL_ERROR\n", 0))
        << fromEnvironment.out;
    EXPECT_EQ(std::string::npos, fromEnvironment.out.find("Cannot guess JAVA_HOME"));
    const std::string log = readWholeFile(dir.path("env.log"));
    EXPECT_NE(
        std::string::npos,
        log.find("Using a JAVA_HOME value from a system environment JAVA_HOME=" + dir.path("jdk")))
        << log;
    EXPECT_NE(std::string::npos, log.find("javaHome=" + dir.path("jdk") + ","));
}

}  // namespace
