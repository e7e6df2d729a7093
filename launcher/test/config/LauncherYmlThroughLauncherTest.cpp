#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/LauncherRunner.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

// launcher.yml as the launcher reads it from an instance directory.
namespace {

using Args = std::vector<std::string>;

ProcessRunner launcher(Args args) {
    return launcherRunner(std::move(args));
}

TEST(LauncherYmlThroughLauncherTest, ABrokenFileEndsTheStartWithItsReason) {
    TempDir dir;
    const std::string top = "launcher-parameters:\n", log = dir.path("launcher.log");
    const std::string parsing = "2 Error parsing launcher.yml: ",
                      offset = ". Error at file offset ";
    const std::string reading = "2 Error reading file '" + dir.path("launcher.yml") + "'. ";
    const std::pair<std::string, std::string> cases[] = {
        {top + "  work-dir:/w\n", parsing + "key expected" + offset + "34.\n"},
        {"a:\n  -item\n", parsing + "wrong structure" + offset + "5.\n"},
        {"a:\n  b: c\n c: d\n", parsing + "wrong indent level" + offset + "16.\n"},
        {"a: b\n...\n", parsing + "multiple documents are not supported" + offset + "5.\n"},
        {"", reading + "Unknown field 'root'.\n"},
        // The line feed a comment leaves starts the next key.
        {"# c\n" + top, reading + "Unknown field ''.\n"},
        {top + "  work-dir: /w\n  workdir: /w\n", reading + "Unknown field 'workdir'.\n"},
        {top + "  - work-dir: /w\n", reading + "Wrong structure.\n"},
        {top + "  banner:\n    - en\n", reading + "Wrong structure.\n"},
        {top + "  minimal-java-version: 7\n", reading + "Unknown Java version '7'.\n"},
        {top + "  minimal-java-version: 65536\n", reading + "Unknown Java version '65536'.\n"},
        {top + "  sigterm: Stop\n",
         reading + "Unknown sigterm value 'Stop': expected jvm, stop or fast.\n"},
    };
    for (const auto& [yml, expected] : cases) {
        dir.write("launcher.yml", yml);
        EXPECT_EQ(expected,
                  launcher({"start", "--instance", dir.path(), "--clog", log}).run().summary())
            << yml;
    }
    // The log has the start, without a full stop, and the arguments, not the reason.
    std::vector<std::string> lines;
    for (const LogLine& line : parseLogLines(readWholeFile(log))) {
        lines.push_back(line.function + ": " + line.message);
    }
    ASSERT_EQ(6u, lines.size()) << readWholeFile(log);
    EXPECT_EQ("main: Launcher started time=", lines[0].substr(0, 28));
    EXPECT_EQ("logRawArgs: CLI args parsed args=", lines[1].substr(0, 33));
    EXPECT_EQ(std::string::npos, readWholeFile(log).find("Unknown Java version"));
    // One that cannot be read at all fails as the system call did.
    std::filesystem::remove(dir.path("launcher.yml"));
    dir.mkdir("launcher.yml");
    EXPECT_EQ(
        "20 Cannot read file '" + dir.path("launcher.yml") + "'. Error: (21) Is a directory\n",
        launcher({"start", "--instance", dir.path()}).run().summary());
}

// Every key, the placeholders in their fixed order, and the rule that a list
// swallows the key after it; the command line wins, the options of all sources
// are joined.
TEST(LauncherYmlThroughLauncherTest, EveryKeyIsReadExpandedMergedAndLogged) {
    TempDir dir;
    dir.mkdir("work");
    dir.write("launcher.yml",
              "launcher-parameters:\n  work-dir: ${instance.root}/work\n  service-name: svc\n"
              "  java-home: /yml/jdk\n  pid-file: ${launcher.dir}/x-${launcher.pid}.pid\n"
              "  log-file: /yml/log\n  class-path: lib/*.jar\n  module-path: mods\n"
              "  main-class: a=b # the contract\n  daemon: false\n  quiet: True\n  sigterm: fast\n"
              "  minimal-java-version: +11\n  jvm-opts:\n  - -Dpath=${env.path}\n"
              "  - -Dv=${launcher.version} ${launcher.arch} ${unknown}\n  work-dir: swallowed\n"
              "  main-class-args:\n  - one\n  pid-file: swallowed\n  banner:\n"
              "    default: Hello\n    ru: Привет\n");
    const std::string log = dir.path("launcher.log"), root = dir.path(), bin = LAUNCHER_BINARY;
    ProcessRunner runner = launcher({"start", "--instance", root, "--clog", log, "--pidfile",
                                     dir.path("p.pid"), "--jvmdll", "/none/libjvm.so", "--jvmopt",
                                     "-Duser.language=RU", "--jifacearg", "two"});
    // An earlier placeholder never brings in a later one, nor itself.
    runner.env("PATH", "[${env.path}|${instance.root}|${launcher.arch}]")
        .env("JVM_OPTS", " -Denv=1  -Xss1m ");
    ProcessRunner::Running running = runner.start();
    const std::string pid = std::to_string(running.pid());
    EXPECT_EQ(
        "2 Привет\nstderr: Modulepath was set but no files meet the mask. Search path: mods\n",
        running.wait().summary());
    std::vector<std::string> lines;
    for (const LogLine& line : parseLogLines(readWholeFile(log))) {
        if (line.className == "LauncherConfig" || line.className == "LauncherParameters") {
            lines.push_back(line.message);
        }
    }
    const std::string options =
        "-Dpath=[${env.path}|${instance.root}|x86-64], -Dv=3.10.5+8 x86-64 ${unknown}";
    EXPECT_EQ((std::vector<std::string>{
                  "Launcher parameters file read: fileName=" + root + "/launcher.yml, work-dir=" +
                      root + "/work, service-name=svc, java-home=/yml/jdk, pid-file=" +
                      bin.substr(0, bin.rfind('/')) + "/x-" + pid +
                      ".pid, log-file=/yml/log, class-path=lib/*.jar, module-path=mods, "
                      "main-class='a=b', daemon=false, quiet=True, sigterm=fast",
                  "Java parameters: minimalJavaVersion=11",
                  "JVM options: options='" + options + "'", "main class arguments: options=one",
                  "Adding JVM_OPTS to JVM arguments JVM_OPTS=' -Denv=1  -Xss1m '",
                  "Language is explicitly set using JvmOpts language=ru",
                  "Launch parameters: mainClass='a=b', classPath=lib/*.jar, modulePath=mods, "
                  "javaHome=, jvmLibrary=/none/libjvm.so, minimalJavaVersion=11, workDir=" +
                      root + "/work, pidFile=" + dir.path("p.pid") + ", logFile=" + log +
                      ", instance=" + root + ", daemon=false, quiet=false, sigterm=fast",
                  "JVM options: options='" + options +
                      ", -Denv=1, -Xss1m, -Duser.language=RU, -Dinstance.root=" + root + "'",
                  "main class arguments: options='one, two'"}),
              lines);
}

}  // namespace
