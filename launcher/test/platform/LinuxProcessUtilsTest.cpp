#include "platform/LinuxProcessUtils.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/LauncherOsException.h"
#include "support/Catalogue.h"
#include "support/TempDir.h"

namespace {

struct HostReport {
    std::vector<std::string> args;
    std::string exe;
    std::string dir;
    int exitCode = -1;
};

// Starts the host program with the given arguments (argv[0] included) and
// splits what it reports: the arguments, then the executable and its directory.
HostReport runHost(const std::vector<std::string>& argv) {
    int fds[2];
    if (pipe(fds) != 0) {
        ADD_FAILURE() << "pipe failed";
        return {};
    }
    pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 1);
        close(fds[0]);
        close(fds[1]);
        std::vector<char*> raw;
        for (const std::string& arg : argv) {
            raw.push_back(const_cast<char*>(arg.c_str()));
        }
        raw.push_back(nullptr);
        execv(LAUNCHER_OS_UTILS_HOST, raw.data());
        _exit(127);
    }
    close(fds[1]);
    std::string output;
    char buffer[4096];
    for (ssize_t n; (n = read(fds[0], buffer, sizeof(buffer))) > 0;) {
        output.append(buffer, static_cast<size_t>(n));
    }
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);

    HostReport report;
    report.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    for (size_t at = 0, end; (end = output.find('\0', at)) != std::string::npos; at = end + 1) {
        report.args.push_back(output.substr(at, end - at));
    }
    if (report.args.size() < 2) {
        ADD_FAILURE() << "unexpected host output: " << output;
        return report;
    }
    report.dir = report.args.back();
    report.args.pop_back();
    report.exe = report.args.back();
    report.args.pop_back();
    return report;
}

TEST(LinuxProcessUtilsTest, CommandLineArgsOfThisProcess) {
    std::vector<std::wstring> expected;
    for (const std::string& arg : ::testing::internal::GetArgvs()) {
        expected.push_back(toWide(arg));
    }
    EXPECT_EQ(expected, LinuxProcessUtils().getCommandLineArgs());
}

TEST(LinuxProcessUtilsTest, CommandLineArgsArriveWholeWhateverTheirLength) {
    const std::vector<std::string> argv = {"first",
                                           "",
                                           "Привет, мир",
                                           std::string(4094, 'a'),
                                           std::string(4095, 'b'),
                                           std::string(70000, 'c') + "end",
                                           "last one"};
    HostReport report = runHost(argv);
    ASSERT_EQ(0, report.exitCode);
    EXPECT_EQ(argv, report.args);
}

TEST(LinuxProcessUtilsTest, ExecutablePathAndDirectory) {
    char resolved[4096];
    ASSERT_NE(nullptr, realpath(LAUNCHER_OS_UTILS_HOST, resolved));
    const std::string exe = resolved;
    HostReport report = runHost({"host"});
    ASSERT_EQ(0, report.exitCode);
    EXPECT_EQ(exe, report.exe);
    EXPECT_EQ(exe.substr(0, exe.rfind('/')), report.dir);
}

TEST(LinuxProcessUtilsTest, SleepIsOneShortNanosleep) {
    LinuxProcessUtils process;
    using Clock = std::chrono::steady_clock;
    auto start = Clock::now();
    EXPECT_EQ(0, process.sleep(30));
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(30));

    // A second or more is refused at once rather than slept.
    start = Clock::now();
    EXPECT_NE(0, process.sleep(1500));
    EXPECT_NE(0, process.sleep(1000));
    EXPECT_NE(0, process.sleep(-1));
    EXPECT_NE(0, process.sleep(9223372036854775807L));
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(500));
}

TEST(LinuxProcessUtilsTest, EnvironmentAndArgumentConversion) {
    LinuxProcessUtils process;
    ASSERT_EQ(0, setenv("LAUNCHER_TEST_VALUE", "значение=1", 1));
    EXPECT_EQ(L"значение=1", process.getEnv(L"LAUNCHER_TEST_VALUE"));
    unsetenv("LAUNCHER_TEST_VALUE");
    EXPECT_EQ(L"", process.getEnv(L"LAUNCHER_TEST_VALUE"));
    EXPECT_EQ(static_cast<int>(getpid()), process.getPid());

    char first[] = "start";
    char second[] = "--instance=Тест";
    char* narrow[] = {first, second};
    EXPECT_EQ((std::vector<std::wstring>{L"start", L"--instance=Тест"}),
              process.convertArgs(2, narrow));
}

TEST(LinuxProcessUtilsTest, ChangeDirectory) {
    ScopedCatalogue english;
    TempDir dir;
    LinuxProcessUtils process;
    char previous[4096];
    ASSERT_NE(nullptr, getcwd(previous, sizeof(previous)));

    process.changeDirectory(dir.wpath());
    char now[4096];
    EXPECT_EQ(dir.path(), getcwd(now, sizeof(now)));
    ASSERT_EQ(0, chdir(previous));

    try {
        process.changeDirectory(dir.wpath("missing"));
        FAIL() << "expected LauncherOsException";
    } catch (const LauncherOsException& e) {
        EXPECT_EQ(L"Cannot change current directory to '" + dir.wpath("missing") +
                      L"'. Error: (2) No such file or directory",
                  e.getMessage());
    }
}

}  // namespace
