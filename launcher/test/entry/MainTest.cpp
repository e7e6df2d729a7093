#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/TextConversion.h"
#include "support/LogLines.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"

namespace {

// The launcher as a user runs it, in an English locale unless a test says otherwise.
ProcessRunner::Result launcher(std::vector<std::string> args, const char* locale = "C") {
    return ProcessRunner(LAUNCHER_BINARY)
        .argv0("launcher")
        .args(std::move(args))
        .env("LC_ALL", locale)
        .env("LOCPATH", LAUNCHER_TEST_LOCALE_DIR)
        .timeout(std::chrono::seconds(30))
        .run();
}

const char* const kHelpUsage =
    "Usage: launcher help [options] [arguments]\n"
    "\n"
    "Mode:\n"
    "  help              Show usage information for a given mode.\n"
    "\n"
    "Common parameters:\n"
    "  --version | -v    show version\n"
    "  --help | -? | -h  show brief usage information\n"
    "\n"
    "Parameters:\n"
    "  start             Launch Java-code in dedicated JVM.\n"
    "  stop              Communicate with another instance of launcher to stop it\n"
    "                    gracefully.\n";

const char* const kStopUsage =
    "Usage: launcher stop [options] [arguments]\n"
    "\n"
    "Mode:\n"
    "  stop                     Communicate with another instance of launcher to stop\n"
    "                           it gracefully.\n"
    "\n"
    "Common parameters:\n"
    "  --version | -v           show version\n"
    "  --help | -? | -h         show brief usage information\n"
    "\n"
    "Parameters:\n"
    "  --fast                   Stop another launcher in fast mode\n"
    "  --pid PID                The PID of another launcher process this launcher\n"
    "                           should stop. The option is mutually exclusive with\n"
    "                           --pidfile\n"
    "  --pidfile /path/to/file  The path to the file to store launcher process PID\n"
    "  --timeout msecs          The number of milliseconds to wait until another\n"
    "                           launcher process would stop. On this timeout\n"
    "                           expiration another process would be killed\n"
    "  --cout /path/to/file     The name of the file to redirect standard output\n"
    "                           stream to\n"
    "  --cerr /path/to/file     The name of the file to redirect standard error\n"
    "                           stream to\n"
    "  --cstd /path/to/file     The name of the file to redirect standard output and\n"
    "                           error streams to; always dominates over --cout and\n"
    "                           --cerr\n"
    "  --clog /path/to/file     The name of the launcher log file\n";

TEST(MainTest, VersionIsPrintedInEveryModeWithoutOpeningALog) {
    TempDir dir;
    const std::vector<std::vector<std::string>> commandLines = {
        {"--version"},
        {"-v"},
        {"help", "--version"},
        {"start", "--clog", dir.path("start.log"), "--version"},
        {"stop", "--pid", "12a", "-v"},
    };
    for (const auto& args : commandLines) {
        ProcessRunner::Result result = launcher(args);
        EXPECT_EQ("Version 3.10.5+8\n", result.out) << args.front();
        EXPECT_EQ("", result.err);
        EXPECT_EQ(0, result.exitCode);
    }
    EXPECT_FALSE(pathExists(dir.path("start.log")));
}

TEST(MainTest, UsageOfEachModeHoweverItIsAskedFor) {
    for (const auto& args :
         std::vector<std::vector<std::string>>{{}, {"help"}, {"--help"}, {"-h"}, {"help", "-?"}}) {
        ProcessRunner::Result result = launcher(args);
        EXPECT_EQ(kHelpUsage, result.out);
        EXPECT_EQ("", result.err);
        EXPECT_EQ(0, result.exitCode);
    }
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"help", "stop"}, {"stop", "--help"}, {"stop", "-?"}, {"stop", "--pid", "1", "-h"}}) {
        ProcessRunner::Result result = launcher(args);
        EXPECT_EQ(kStopUsage, result.out);
        EXPECT_EQ(0, result.exitCode);
    }

    const std::string start = launcher({"help", "start"}).out;
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"start", "--help"}, {"start", "-h"}, {"start", "--bogus", "-?"}}) {
        EXPECT_EQ(start, launcher(args).out);
    }
    std::vector<std::string> lines = splitLines(start);
    ASSERT_EQ(45u, lines.size()) << start;
    EXPECT_EQ("Usage: launcher start [options] [arguments]", lines[0]);
    EXPECT_EQ("  start                                Launch Java-code in dedicated JVM.",
              lines[3]);
    EXPECT_EQ("  --daemon                             Launcher is running as a service", lines[10]);
    EXPECT_EQ("  --jifacearg word                     The Java class main function argument;",
              lines[43]);
    EXPECT_EQ("                                       this option is repetitive", lines[44]);
}

TEST(MainTest, RejectedCommandLinesPrintTheReasonAndExitOne) {
    TempDir dir;
    dir.write("file.txt", "x");
    const std::string missing = dir.path("missing");
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"begin"}, "Unknown mode 'begin'"},
        {{"begin", "--help"}, "Unknown mode 'begin'"},
        {{"start", "--pidfile"}, "Option --pidfile value is not set"},
        {{"stop", "--pidfile", "a", "--pidfile=b"},
         "--pidfile can not be duplicated, only one occurrence is allowed"},
        {{"start", "now", "--daemon=yes"}, "Unexpected CLI arguments: now --daemon=yes"},
        {{"stop", "--instance", dir.path()}, "Unexpected CLI arguments: --instance " + dir.path()},
        {{"--pidfile", "x"}, "Unexpected CLI arguments: --pidfile x"},
        {{"stop", "--pid", "12a"}, "Invalid PID syntax: '12a'"},
        {{"stop", "--pid", "0"}, "Invalid PID: '0'"},
        {{"stop", "--pid", "-5"}, "Invalid PID: '-5'"},
        {{"stop", "--timeout", "10ms"}, "Invalid timeout '10ms'"},
        {{"start", "--cstd", dir.path("std"), "--cout", dir.path("out")},
         "--cout is conflicting with --cstd"},
        {{"start", "--instance", dir.path("file.txt")},
         "Cannot set instance root, because '" + dir.path("file.txt") + "' is a file."},
        {{"start", "--cerr", missing + "/err.txt", "--instance", missing},
         "'--cerr' destination '" + missing +
             "/err.txt' is not accessible. Error: (2) No such file or directory\n"
             "Cannot set instance root, because directory '" +
             missing + "' does not exist."},
        {{"stop", "--cout", dir.path("same.txt"), "--clog", dir.path("./same.txt")},
         "--clog cannot reuse destination of --cout or --cerr: " + dir.path("./same.txt")},
    };
    for (const auto& [args, message] : cases) {
        ProcessRunner::Result result = launcher(args);
        EXPECT_EQ(message + "\n", result.out) << args.front();
        EXPECT_EQ("", result.err);
        EXPECT_EQ(1, result.exitCode) << message;
    }
    // None of the checks left a file behind.
    EXPECT_FALSE(pathExists(dir.path("std")));
    EXPECT_FALSE(pathExists(dir.path("out")));
}

TEST(MainTest, RejectedCommandLineIsLoggedToClogAndPrintedToCout) {
    TempDir dir;
    ProcessRunner::Result result = launcher(
        {"stop", "--clog", dir.path("stop.log"), "--pid", "0", "--cout", dir.path("out.txt")});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("Invalid PID: '0'\n", readWholeFile(dir.path("out.txt")));
    std::vector<LogLine> log = parseLogLines(readWholeFile(dir.path("stop.log")));
    ASSERT_EQ(1u, log.size());
    EXPECT_FALSE(log[0].time.empty()) << log[0].message;
    EXPECT_EQ("ERROR", log[0].level);
    EXPECT_EQ("main", log[0].className);
    EXPECT_EQ("main.cpp", log[0].file);
    EXPECT_EQ("main", log[0].function);
    EXPECT_EQ("Invalid PID: '0'", log[0].message);
}

TEST(MainTest, LogThatCannotBeOpenedDoesNotStopTheRejection) {
    TempDir dir;
    ProcessRunner::Result missingDirectory =
        launcher({"stop", "--pid", "0", "--clog", dir.path("no/such/dir/stop.log")});
    EXPECT_EQ("Invalid PID: '0'\n", missingDirectory.out);
    EXPECT_EQ(1, missingDirectory.exitCode);
    EXPECT_FALSE(pathExists(dir.path("no")));

    ProcessRunner::Result directory = launcher({"start", "--clog", dir.path()});
    EXPECT_EQ(
        "'--clog' destination '" + dir.path() + "' is not accessible. Error: (21) Is a directory\n",
        directory.out);
    EXPECT_EQ(1, directory.exitCode);
}

TEST(MainTest, RefusedParametersArePrintedLoggedAndEndTheRun) {
    TempDir dir;
    const std::string log = dir.path("launcher.log");
    ProcessRunner::Result start = launcher({"start", "--clog", log, "--jvmopt", "-Xmx1g"});
    EXPECT_EQ(1, start.exitCode);
    EXPECT_EQ(
        "Neither --jclasspath nor --jmodulepath is set.\nOption --jifaceclass value is not set\n",
        start.out);
    EXPECT_EQ("", start.err);
    const std::string firstRun = readWholeFile(log);
    std::vector<LogLine> lines = parseLogLines(firstRun);
    ASSERT_LE(7u, lines.size()) << firstRun;
    EXPECT_EQ("main", lines[0].className);
    EXPECT_EQ("Launcher started. time=", lines[0].message.substr(0, 23));
    // The start-up time is the one taken first thing, in the log's own format.
    EXPECT_TRUE(loglines::isTimeStamp(lines[0].message.substr(lines[0].message.find('=') + 1)));
    EXPECT_EQ("CLI args parsed args='launcher, start, --clog, " + log + ", --jvmopt, -Xmx1g'",
              lines[1].message);
    size_t failures = 0;
    for (const LogLine& line : lines) {
        if (line.message.rfind("Launch configuration failure.", 0) == 0) {
            EXPECT_EQ("ERROR", line.level);
            ++failures;
        }
        EXPECT_EQ(std::string::npos, line.message.find("Normal exit")) << line.message;
    }
    EXPECT_EQ(2u, failures) << firstRun;
    // The check of --clog left nothing that could pass for an older log.
    EXPECT_FALSE(pathExists(log + ".1"));

    ProcessRunner::Result stop = launcher({"stop", "--clog", log});
    EXPECT_EQ(1, stop.exitCode);
    EXPECT_EQ("None of CLI arguments --pid and --pidfile are set\n", stop.out);
    EXPECT_EQ(firstRun, readWholeFile(log + ".1"));
    EXPECT_NE(std::string::npos, readWholeFile(log).find("timeoutMillis=IsNotSet"));

    dir.write("bad.pid", "42\n");
    ProcessRunner::Result badPid = launcher({"stop", "--pidfile", dir.path("bad.pid")});
    EXPECT_EQ(3, badPid.exitCode);
    EXPECT_EQ("Illegal characters in PID file '" + dir.path("bad.pid") + "'\n", badPid.out);

    ProcessRunner::Result missing = launcher({"stop", "--pidfile", dir.path("none.pid")});
    EXPECT_EQ(20, missing.exitCode);
    EXPECT_EQ("", missing.out);
    EXPECT_EQ(
        "Cannot read file '" + dir.path("none.pid") + "'. Error: (2) No such file or directory\n",
        missing.err);
}

TEST(MainTest, BrokenLauncherYmlIsPrintedAndTheLogHoldsOnlyTheArguments) {
    TempDir dir;
    const std::string log = dir.path("launcher.log");
    dir.write("launcher.yml", "launcher-parameters:\n  colour: blue\n");
    ProcessRunner::Result result = launcher({"start", "--instance", dir.path(), "--clog", log});
    EXPECT_EQ(2, result.exitCode);
    EXPECT_EQ("Error reading file '" + dir.path("launcher.yml") + "'. Unknown field 'colour'.\n",
              result.out);
    const std::string written = readWholeFile(log);
    std::vector<LogLine> lines = parseLogLines(written);
    ASSERT_LE(2u, lines.size()) << written;
    EXPECT_EQ("Launcher started time=", lines[0].message.substr(0, 22));
    EXPECT_EQ("logRawArgs", lines[1].function);
    EXPECT_EQ(std::string::npos, written.find("colour")) << written;

    dir.write("launcher.yml", "launcher-parameters:\n  - item\n");
    EXPECT_EQ(2, launcher({"start", "--instance", dir.path()}).exitCode);
    dir.write("launcher.yml", "---\n");
    ProcessRunner::Result syntax = launcher({"start", "--instance", dir.path()});
    EXPECT_EQ(2, syntax.exitCode);
    EXPECT_EQ(
        "Error parsing launcher.yml: multiple documents are not supported. Error at file "
        "offset 0.\n",
        syntax.out);
}

TEST(MainTest, StoppingAProcessThatDoesNotExistFindsNothing) {
    TempDir dir;
    ProcessRunner::Result stop =
        launcher({"stop", "--pid", "999999", "--clog", dir.path("stop.log")});
    EXPECT_EQ(11, stop.exitCode);
    EXPECT_EQ("Launcher with PID=999999 not found, nothing was stopped\n", stop.err);
    EXPECT_NE(std::string::npos,
              readWholeFile(dir.path("stop.log"))
                  .find("message=A stop request was sent to another launcher instance "
                        "pidToStop=999999, timeoutMillis=IsNotSet"));
}

TEST(MainTest, RussianLocaleGivesRussianMessagesAndUsage) {
    // Without the locale the launcher would quietly speak English: that must fail, not skip.
    ASSERT_TRUE(pathExists(std::string(LAUNCHER_TEST_LOCALE_DIR) + "/ru_RU.UTF-8"))
        << "no ru_RU.UTF-8 locale under " << LAUNCHER_TEST_LOCALE_DIR;
    ProcessRunner::Result duplicate =
        launcher({"start", "--pidfile", "a", "--pidfile", "b"}, "ru_RU.UTF-8");
    EXPECT_EQ("--pidfile не может повторяться\n", duplicate.out);
    EXPECT_EQ(1, duplicate.exitCode);

    ProcessRunner::Result usage = launcher({"stop", "--help"}, "ru_RU.UTF-8");
    EXPECT_EQ(0, usage.exitCode);
    std::vector<std::string> lines = splitLines(usage.out);
    ASSERT_GT(lines.size(), 12u);
    EXPECT_EQ("Использование: launcher stop [options] [arguments]", lines[0]);
    EXPECT_EQ("Режим:", lines[2]);
    // Columns line up by characters, not by bytes of UTF-8.
    const std::wstring pidRow = toWide(lines[12]);
    const std::wstring continuation = toWide(lines[13]);
    ASSERT_EQ(0u, pidRow.find(L"  --pid PID")) << lines[12];
    size_t column = pidRow.find_first_not_of(L' ', std::wstring(L"  --pid PID").size());
    EXPECT_EQ(column, continuation.find_first_not_of(L' ')) << lines[13];
    for (const std::string& line : lines) {
        EXPECT_LE(toWide(line).size(), 80u) << line;
    }
}

}  // namespace
