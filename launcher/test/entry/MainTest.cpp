#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "platform/TextConversion.h"
#include "support/LauncherRunner.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

// The launcher as a user runs it: what each command line prints, where, with
// which exit code, and what it logs.
namespace {

using Args = std::vector<std::string>;

// How a run ended, as one text: "<exit code> <stdout>[stderr: <stderr>]".
std::string outcome(Args args, const char* locale = "C") {
    return launcherRunner(std::move(args)).env("LC_ALL", locale).run().summary();
}

// The words of a command line separated by blanks.
Args words(const std::string& line) {
    std::istringstream in(line);
    return Args(std::istream_iterator<std::string>(in), {});
}

// "function: message" of each line of a launcher log.
std::vector<std::string> logged(const std::string& path) {
    std::vector<std::string> lines;
    for (const LogLine& line : parseLogLines(readWholeFile(path))) {
        lines.push_back(line.function + ": " + line.message);
    }
    return lines;
}

TEST(MainTest, VersionAndUsageOfEachModeHoweverTheyAreAskedFor) {
    TempDir dir;
    const std::string version = "0 Version 3.10.5+8\n";
    const std::string help =
        "0 Usage: launcher help [options] [arguments]\n\nMode:\n"
        "  help              Show usage information for a given mode.\n\nCommon parameters:\n"
        "  --version | -v    show version\n  --help | -? | -h  show brief usage information\n\n"
        "Parameters:\n  start             Launch Java-code in dedicated JVM.\n"
        "  stop              Communicate with another instance of launcher to stop it\n"
        "                    gracefully.\n";
    const std::string stop = outcome(words("help stop")), start = outcome(words("help start"));
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {version,
         {"--version", "help -v", "stop --pid 12a --version",
          "start --clog " + dir.path("start.log") + " -v"}},
        {help, {"", "--help", "help -?"}},
        {stop, {"help -h stop", "stop --pid 1 -?"}},
        {start, {"start --bogus -h"}},
    };
    for (const auto& [text, lines] : cases) {
        for (const std::string& line : lines) {
            EXPECT_EQ(text, outcome(words(line))) << line;
        }
    }
    EXPECT_FALSE(pathExists(dir.path("start.log")));
    // Rows of the other two, where options wrap and columns line up.
    const std::vector<std::string> stopLines = splitLines(stop), startLines = splitLines(start);
    ASSERT_EQ(27u, stopLines.size()) << stop;
    ASSERT_EQ(52u, startLines.size()) << start;
    EXPECT_EQ((std::vector<std::string>{
                  "0 Usage: launcher stop [options] [arguments]",
                  "  --pid PID                The PID of another launcher process this launcher",
                  "                           should stop. The option is mutually exclusive with",
                  "  --clog /path/to/file     The name of the launcher log file",
                  "0 Usage: launcher start [options] [arguments]",
                  "  --daemon                             Launcher is running as a service",
                  "                                       this option is repetitive"}),
              (std::vector<std::string>{stopLines[0], stopLines[12], stopLines[13], stopLines[26],
                                        startLines[0], startLines[10], startLines[51]}));
}

// Every way a run is refused before it starts: the reason, where it goes, the exit code.
TEST(MainTest, EachRefusalPrintsItsReasonAndExitCode) {
    TempDir dir;
    dir.write("file.txt", "x");
    dir.write("0.pid", "");
    dir.write("1.pid", "12345678901");
    dir.write("2.pid", "2147483648");
    // Read up to the first zero byte.
    dir.write("3.pid", std::string("999999\0j", 8));
    const std::string d = dir.path() + "/", missing = d + "missing";
    const std::string noSuchFile = "' is not accessible. Error: (2) No such file or directory\n";
    const std::pair<std::string, std::string> cases[] = {
        {"begin --help", "1 Unknown mode 'begin'\n"},
        // One problem a line, a duplicate once, stray arguments last.
        {"start extra --daemon --daemon --daemon start --nope --workdir",
         "1 --daemon can not be duplicated, only one occurrence is allowed\nOption --workdir "
         "value is not set\nUnexpected CLI arguments: extra start --nope\n"},
        {"stop --instance /", "1 Unexpected CLI arguments: --instance /\n"},
        {"stop --pid 12a", "1 Invalid PID syntax: '12a'\n"},
        {"stop --pid 99999999999", "1 Invalid PID: '99999999999'\n"},
        {"stop --timeout 10ms", "1 Invalid timeout '10ms'\n"},
        {"start --sigterm term --wait",
         "1 --wait can only be used together with --daemon\nInvalid --sigterm value 'term': "
         "expected jvm, stop or fast\n"},
        {"start --cstd " + d + "std --cerr " + d + "err --cout " + d + "out",
         "1 --cout is conflicting with --cstd\n"},
        {"start --instance " + d + "file.txt",
         "1 Cannot set instance root, because '" + d + "file.txt' is a file.\n"},
        {"start --instance " + d + "file.txt/x", "1 Cannot set instance root: '" + d +
                                                     "file.txt/x'. Error: Cannot read file '" + d +
                                                     "file.txt/x'. Error: (20) Not a directory\n"},
        {"start --cerr " + missing + "/err --clog " + missing + "/log --instance " + missing,
         "1 '--cerr' destination '" + missing + "/err" + noSuchFile + "'--clog' destination '" +
             missing + "/log" + noSuchFile + "Cannot set instance root, because directory '" +
             missing + "' does not exist.\n"},
        {"stop --cout " + d + "same.txt --clog " + d + "./same.txt",
         "1 --clog cannot reuse destination of --cout or --cerr: " + d + "./same.txt\n"},
        // A number that cannot be read is the only reason given, and it comes after
        // the destinations were read: it goes to --cout, where an unknown argument
        // stops the reading before them.
        {"stop --pid 0 --clog " + missing + "/stop.log", "1 Invalid PID: '0'\n"},
        {"stop --clog " + d + "bogus.log --bogus --cout " + d + "bogus.txt",
         "1 Unexpected CLI arguments: --bogus\n"},
        {"stop --clog " + d + "pid.log --pid=0 --cout " + d + "pid.txt", "1 "},
        {"stop", "1 None of CLI arguments --pid and --pidfile are set\n"},
        {"stop --pid 12 --pidfile x",
         "1 Mutually exclusive CLI arguments --pid and --pidfile are set\n"},
        {"stop --pidfile " + d + "0.pid", "3 Zero-sized PID file '" + d + "0.pid'\n"},
        {"stop --pidfile " + d + "1.pid", "3 Extra characters in PID file '" + d + "1.pid'\n"},
        {"stop --pidfile " + d + "2.pid", "3 Illegal characters in PID file '" + d + "2.pid'\n"},
        {"stop --pidfile " + missing,
         "20 stderr: Cannot read file '" + missing + "'. Error: (2) No such file or directory\n"},
        // --cstd takes both streams.
        {"stop --pidfile " + d + "3.pid --cstd " + d + "std.txt", "11 "},
    };
    for (const auto& [line, expected] : cases) {
        EXPECT_EQ(expected, outcome(words(line)));
    }
    EXPECT_EQ("Launcher with PID=999999 not found, nothing was stopped\n",
              readWholeFile(d + "std.txt"));
    EXPECT_EQ("Invalid PID: '0'\n", readWholeFile(d + "pid.txt"));
    for (const auto& [name, message] : {std::pair{"bogus", "Unexpected CLI arguments: --bogus"},
                                        std::pair{"pid", "Invalid PID: '0'"}}) {
        const std::vector<LogLine> lines = parseLogLines(readWholeFile(d + name + ".log"));
        ASSERT_EQ(1u, lines.size());
        EXPECT_EQ(std::string("ERROR main main.cpp main ") + message,
                  lines[0].level + " " + lines[0].className + " " + lines[0].file + " " +
                      lines[0].function + " " + lines[0].message);
    }
    // None of the checks left a file behind.
    EXPECT_FALSE(pathExists(d + "std") || pathExists(d + "out") || pathExists(missing));
}

TEST(MainTest, RefusedParametersAreLoggedAndTheNextRunRotatesTheLog) {
    TempDir dir;
    const std::string log = dir.path("launcher.log"), root = dir.path();
    const Args args = words(
        "start --daemon --quiet --instance " + root + " --procname tag --workdir /w " +
        "--pidfile /run/l.pid --clog " + log + " --servicename svc --javahome /jdk " +
        "--jvmdll /jdk/libjvm.so --jvmopt -Xmx1g --jifacearg a --jvmopt=-Dx=1 --jifacearg -b");
    EXPECT_EQ(
        "1 Neither --jclasspath nor --jmodulepath is set.\nOption --jifaceclass value is not "
        "set\nMutually exclusive CLI arguments --javahome and --jvmdll are set\n",
        outcome(args));
    const std::string firstRun = readWholeFile(log);
    const std::vector<std::string> lines = logged(log);
    ASSERT_EQ(16u, lines.size()) << firstRun;
    // The start-up time is the one taken first thing, in the log's own format.
    EXPECT_EQ("main: Launcher started. time=", lines[0].substr(0, 29));
    EXPECT_TRUE(loglines::isTimeStamp(lines[0].substr(29))) << lines[0];
    std::string rawArgs = "logRawArgs: CLI args parsed args='launcher";
    for (const std::string& arg : args) {
        rawArgs += ", " + arg;
    }
    const std::string failure = "LauncherParameters: Launch configuration failure. message=";
    EXPECT_EQ(
        (std::vector<std::string>{
            rawArgs + "'",
            "logState: Mode is Start. JVM: javaHome=/jdk, jvmLibrary=/jdk/libjvm.so, "
            "classPath=, modulePath=, contractClass=",
            "logState: Mode is Start. JVM options: options='-Xmx1g, -Dx=1, -Dinstance.root=" +
                root + "'",
            "logState: Mode is Start. main class args: args='a, -b'",
            "logState: Mode is Start. Environment: instance=" + root +
                ", workDir=/w, pidFile=/run/l.pid, cout=, cerr=, logFile=" + log +
                ", serviceName=svc, procName=tag, daemon=true, wait=false, quiet=true, sigterm=",
            "logState: No launcher parameters file read. fileName=" + root + "/launcher.yml",
            "logState: Service configuration file not found "
            "fileName=/etc/default/Orvik/Tamsel/svc",
            "logState: ServiceInstanceParameters: no parameters read from service ini file "
            "fileName=/etc/default/Orvik/Tamsel/svc, serviceName=svc",
            "LauncherParameters: JVM_OPTS environment variable is not defined or empty",
            failure + "Neither --jclasspath nor --jmodulepath is set., exitCode=1",
            failure + "Option --jifaceclass value is not set, exitCode=1",
            failure + "Mutually exclusive CLI arguments --javahome and --jvmdll are set, "
                      "exitCode=1",
        }),
        std::vector<std::string>(lines.begin() + 1, lines.end() - 3));

    // A PID is read the way stoi reads it; an empty timeout is none at all.
    EXPECT_EQ("11 stderr: Launcher with PID=999999 not found, nothing was stopped\n",
              outcome({"stop", "--pid", " +999999", "--timeout", "", "--clog", log}));
    EXPECT_EQ(firstRun, readWholeFile(log + ".1"));
    EXPECT_NE(std::string::npos,
              readWholeFile(log).find("pidToStop=999999, timeoutMillis=IsNotSet"));
}

TEST(MainTest, RussianLocaleGivesRussianMessagesAndUsage) {
    // Without the locale the launcher would quietly speak English: that must fail, not skip.
    ASSERT_TRUE(pathExists(std::string(LAUNCHER_TEST_LOCALE_DIR) + "/ru_RU.UTF-8"));
    EXPECT_EQ("1 --pidfile не может повторяться\n",
              outcome({"start", "--pidfile", "a", "--pidfile", "b"}, "ru_RU.UTF-8"));
    std::vector<std::string> lines = splitLines(outcome({"stop", "--help"}, "ru_RU.UTF-8"));
    ASSERT_GT(lines.size(), 13u);
    EXPECT_EQ("0 Использование: launcher stop [options] [arguments]", lines[0]);
    EXPECT_EQ("Режим:", lines[2]);
    // Columns line up by characters, not by bytes of UTF-8, within 80 of them.
    const std::wstring pidRow = toWide(lines[12]), continuation = toWide(lines[13]);
    ASSERT_EQ(0u, pidRow.find(L"  --pid PID")) << lines[12];
    EXPECT_EQ(pidRow.find_first_not_of(L' ', 11), continuation.find_first_not_of(L' '));
    for (const std::string& line : lines) {
        EXPECT_LE(toWide(line).size(), 80u) << line;
    }
}

}  // namespace
