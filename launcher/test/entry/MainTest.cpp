#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "platform/TextConversion.h"
#include "support/LogLines.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"

namespace {

using Args = std::vector<std::string>;

// The launcher as a user runs it, in an English locale unless a test says otherwise.
ProcessRunner::Result launcher(Args args, const char* locale = "C") {
    return ProcessRunner(LAUNCHER_BINARY)
        .argv0("launcher")
        .args(std::move(args))
        .env("LC_ALL", locale)
        .env("LOCPATH", LAUNCHER_TEST_LOCALE_DIR)
        .timeout(std::chrono::seconds(30))
        .run();
}

// The words of a command line separated by blanks.
Args words(const std::string& line) {
    std::istringstream in(line);
    return Args(std::istream_iterator<std::string>(in), std::istream_iterator<std::string>());
}

// How a run ended, as one text: "<exit code> <stdout>[stderr: <stderr>]".
std::string outcome(Args args, const char* locale = "C") {
    ProcessRunner::Result result = launcher(std::move(args), locale);
    return std::to_string(result.exitCode) + " " + result.out +
           (result.err.empty() ? "" : "stderr: " + result.err);
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

TEST(MainTest, VersionAndUsageOfEachModeHoweverTheyAreAskedFor) {
    TempDir dir;
    const std::string version = "Version 3.10.5+8\n", start = launcher({"help", "start"}).out;
    const std::pair<Args, std::string> cases[] = {
        {{"--version"}, version},
        {{"help", "-v"}, version},
        {{"start", "--clog", dir.path("start.log"), "-v"}, version},
        {{"stop", "--pid", "12a", "--version"}, version},
        {{}, kHelpUsage},
        {{"help"}, kHelpUsage},
        {{"--help"}, kHelpUsage},
        {{"help", "-?"}, kHelpUsage},
        {{"help", "-h", "stop"}, kStopUsage},
        {{"help", "stop", "--help"}, kStopUsage},
        {{"stop", "--pid", "1", "-?"}, kStopUsage},
        {{"start", "--bogus", "-h"}, start},
    };
    for (const auto& [args, text] : cases) {
        EXPECT_EQ("0 " + text, outcome(args));
    }
    EXPECT_FALSE(pathExists(dir.path("start.log")));
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

// Every way a run is refused before it starts: the reason, where it goes, the exit code.
TEST(MainTest, EachRefusalPrintsItsReasonAndExitCode) {
    TempDir dir;
    dir.write("file.txt", "x");
    dir.write("bad.pid", "42\n");
    dir.mkdir("field");
    dir.write("field/launcher.yml", "launcher-parameters:\n  colour: blue\n");
    dir.mkdir("docs");
    dir.write("docs/launcher.yml", "---\n");
    const std::string missing = dir.path("missing"), log = dir.path("launcher.log");
    const std::string notFound = "' is not accessible. Error: (2) No such file or directory";
    const std::string field = dir.path("field");
    const Args everyStartOption =
        words("start --daemon --quiet --instance " + field +
              " --procname tag --workdir /w --pidfile "
              "/run/l.pid --clog " +
              log +
              " --servicename svc --javahome /jdk --jvmdll /jdk/libjvm.so "
              "--jvmopt -Xmx1g --jclasspath /app/lib/* --jmodulepath /app/mods --jifaceclass "
              "com.example.Main --jifacearg a --jvmopt=-Dx=1 --jifacearg -b");
    const std::pair<Args, std::string> cases[] = {
        {{"begin"}, "1 Unknown mode 'begin'\n"},
        {{"begin", "--help"}, "1 Unknown mode 'begin'\n"},
        {{"start", "--pidfile"}, "1 Option --pidfile value is not set\n"},
        {{"stop", "--pidfile", "a", "--pidfile=b"},
         "1 --pidfile can not be duplicated, only one occurrence is allowed\n"},
        {{"start", "now", "--daemon=yes"}, "1 Unexpected CLI arguments: now --daemon=yes\n"},
        {{"stop", "--instance", "/"}, "1 Unexpected CLI arguments: --instance /\n"},
        {{"--pidfile", "x"}, "1 Unexpected CLI arguments: --pidfile x\n"},
        {{"stop", "--pid", "12a"}, "1 Invalid PID syntax: '12a'\n"},
        {{"stop", "--pid", "-5"}, "1 Invalid PID: '-5'\n"},
        {{"stop", "--pid", "99999999999"}, "1 Invalid PID: '99999999999'\n"},
        {{"stop", "--timeout", "10ms"}, "1 Invalid timeout '10ms'\n"},
        {{"stop", "--timeout", "99999999999999999999"},
         "1 Invalid timeout '99999999999999999999'\n"},
        {{"start", "--cstd", dir.path("std"), "--cerr", dir.path("err"), "--cout", dir.path("out")},
         "1 --cout is conflicting with --cstd\n"},
        {{"start", "--instance", dir.path("file.txt")},
         "1 Cannot set instance root, because '" + dir.path("file.txt") + "' is a file.\n"},
        {{"start", "--cerr", missing + "/err", "--clog", missing + "/log", "--instance", missing},
         "1 '--cerr' destination '" + missing + "/err" + notFound + "\n'--clog' destination '" +
             missing + "/log" + notFound + "\nCannot set instance root, because directory '" +
             missing + "' does not exist.\n"},
        {{"stop", "--cout", dir.path("same.txt"), "--clog", dir.path("./same.txt")},
         "1 --clog cannot reuse destination of --cout or --cerr: " + dir.path("./same.txt") + "\n"},
        {{"start", "--clog", dir.path()},
         "1 '--clog' destination '" + dir.path() +
             "' is not accessible. Error: (21) Is a directory\n"},
        // A number that cannot be read is the only reason given.
        {{"stop", "--pid", "0", "--clog", missing + "/stop.log"}, "1 Invalid PID: '0'\n"},
        {{"start", "--clog=" + missing + "/l.log", "--bogus"},
         "1 Unexpected CLI arguments: --bogus\n'--clog' destination '" + missing + "/l.log" +
             notFound + "\n"},
        {{"stop"}, "1 None of CLI arguments --pid and --pidfile are set\n"},
        {{"stop", "--pid", "12", "--pidfile", "x"},
         "1 Mutually exclusive CLI arguments --pid and --pidfile are set\n"},
        {everyStartOption,
         "2 Error reading file '" + field + "/launcher.yml'. Unknown field 'colour'.\n"},
        {{"start", "--instance", dir.path("docs")},
         "2 Error parsing launcher.yml: multiple documents are not supported. Error at file offset "
         "0.\n"},
        {{"stop", "--pidfile", dir.path("bad.pid")},
         "3 Illegal characters in PID file '" + dir.path("bad.pid") + "'\n"},
        {{"stop", "--pidfile", missing},
         "20 stderr: Cannot read file '" + missing + "'. Error: (2) No such file or directory\n"},
    };
    for (const auto& [args, expected] : cases) {
        EXPECT_EQ(expected, outcome(args));
    }
    // None of the checks left a file behind.
    EXPECT_FALSE(pathExists(dir.path("std")) || pathExists(dir.path("out")) || pathExists(missing));
    // A launcher.yml that cannot be read leaves the log only the arguments; the
    // instance root goes after the user's JVM options.
    std::vector<std::string> logged;
    for (const LogLine& line : parseLogLines(readWholeFile(log))) {
        logged.push_back(line.function + ": " + line.message);
    }
    ASSERT_EQ(6u, logged.size());
    EXPECT_EQ("main: Launcher started time=", logged[0].substr(0, 28));
    EXPECT_EQ("logRawArgs: CLI args parsed args='launcher, start, --daemon, --quiet, --instance",
              logged[1].substr(0, 80));
    EXPECT_EQ((std::vector<std::string>{
                  "logState: Mode is Start. JVM: javaHome=/jdk, jvmLibrary=/jdk/libjvm.so, "
                  "classPath=/app/lib/*, modulePath=/app/mods, contractClass=com.example.Main",
                  "logState: Mode is Start. JVM options: options='-Xmx1g, -Dx=1, -Dinstance.root=" +
                      field + "'",
                  "logState: Mode is Start. main class args: args='a, -b'",
                  "logState: Mode is Start. Environment: instance=" + field +
                      ", workDir=/w, pidFile=/run/l.pid, cout=, cerr=, logFile=" + log +
                      ", serviceName=svc, procName=tag, daemon=true, quiet=true"}),
              std::vector<std::string>(logged.begin() + 2, logged.end()));
}

// A number that cannot be read comes after the destinations were read, so its
// reason goes to --cout; an unknown argument stops the reading before them.
TEST(MainTest, RejectedCommandLineIsLoggedToClogAndPrintedToCoutOnceItIsRead) {
    TempDir dir;
    for (const auto& [option, onStdout, onCout] : std::vector<std::array<std::string, 3>>{
             {"--bogus", "Unexpected CLI arguments: --bogus\n", ""},
             {"--pid=0", "", "Invalid PID: '0'\n"}}) {
        const std::string log = dir.path(option + ".log"), out = dir.path(option + ".txt");
        EXPECT_EQ("1 " + onStdout, outcome({"stop", "--clog", log, option, "--cout", out}));
        EXPECT_EQ(onCout, readWholeFile(out));
        std::vector<LogLine> lines = parseLogLines(readWholeFile(log));
        ASSERT_EQ(1u, lines.size());
        EXPECT_FALSE(lines[0].time.empty()) << lines[0].message;
        EXPECT_EQ("ERROR main main.cpp main " + onStdout + onCout,
                  lines[0].level + " " + lines[0].className + " " + lines[0].file + " " +
                      lines[0].function + " " + lines[0].message + "\n");
    }
}

TEST(MainTest, RefusedParametersAreLoggedAndTheNextRunRotatesTheLog) {
    TempDir dir;
    const std::string log = dir.path("launcher.log"), bin = LAUNCHER_BINARY;
    dir.write("launcher.yml",
              "launcher-parameters:\r\n  work-dir: ${instance.root}/work\r\n\r\n"
              "  pid-file: ${launcher.dir}/x.pid\r\n");
    EXPECT_EQ(
        "1 Neither --jclasspath nor --jmodulepath is set.\nOption --jifaceclass value is not "
        "set\n",
        outcome({"start", "--instance", dir.path(), "--clog", log}));
    const std::string firstRun = readWholeFile(log);
    std::vector<LogLine> lines = parseLogLines(firstRun);
    ASSERT_LE(7u, lines.size()) << firstRun;
    // The start-up time is the one taken first thing, in the log's own format.
    EXPECT_EQ("main Launcher started. time=",
              lines[0].className + " " + lines[0].message.substr(0, 23));
    EXPECT_TRUE(loglines::isTimeStamp(lines[0].message.substr(23)));
    auto logs = [](const std::string& text, const std::string& message) {
        return text.find(",message=" + message + "\n") != std::string::npos;
    };
    EXPECT_TRUE(logs(firstRun, "CLI args parsed args='launcher, start, --instance, " + dir.path() +
                                   ", --clog, " + log + "'"));
    EXPECT_TRUE(logs(firstRun, "Launcher parameters file read: fileName=" + dir.path() +
                                   "/launcher.yml, work-dir=" + dir.path() +
                                   "/work, pid-file=" + bin.substr(0, bin.rfind('/')) + "/x.pid"))
        << firstRun;
    size_t failures = 0;
    for (size_t at = 0;
         (at = firstRun.find("=Launch configuration failure.", at)) != std::string::npos; ++at) {
        ++failures;
    }
    EXPECT_EQ(2u, failures) << firstRun;
    EXPECT_EQ(std::string::npos, firstRun.find("Normal exit"));
    // The check of --clog left nothing that could pass for an older log.
    EXPECT_FALSE(pathExists(log + ".1"));

    EXPECT_EQ("11 stderr: Launcher with PID=999999 not found, nothing was stopped\n",
              outcome({"stop", "--pid", "999999", "--clog", log}));
    EXPECT_EQ(firstRun, readWholeFile(log + ".1"));
    for (const char* message :
         {"No launcher parameters file read. fileName=",
          "ServiceInstanceParameters: no parameters read from service ini file fileName=, "
          "serviceName=",
          "A stop request was sent to another launcher instance pidToStop=999999, "
          "timeoutMillis=IsNotSet"}) {
        EXPECT_TRUE(logs(readWholeFile(log), message)) << message;
    }
}

TEST(MainTest, RussianLocaleGivesRussianMessagesAndUsage) {
    // Without the locale the launcher would quietly speak English: that must fail, not skip.
    ASSERT_TRUE(pathExists(std::string(LAUNCHER_TEST_LOCALE_DIR) + "/ru_RU.UTF-8"))
        << "no ru_RU.UTF-8 locale under " << LAUNCHER_TEST_LOCALE_DIR;
    EXPECT_EQ("1 --pidfile не может повторяться\n",
              outcome({"start", "--pidfile", "a", "--pidfile", "b"}, "ru_RU.UTF-8"));
    std::vector<std::string> lines = splitLines(outcome({"stop", "--help"}, "ru_RU.UTF-8"));
    ASSERT_GT(lines.size(), 13u);
    EXPECT_EQ("0 Использование: launcher stop [options] [arguments]", lines[0]);
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
