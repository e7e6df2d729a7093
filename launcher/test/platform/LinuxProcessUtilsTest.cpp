#include "platform/LinuxProcessUtils.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "support/ProcessRunner.h"

namespace {

// The host prints its arguments as the OS utilities read them, then its
// executable path and directory, each ended by a NUL byte.
TEST(LinuxProcessUtilsTest, ArgumentsArriveWholeAndTheExecutableIsFound) {
    const std::vector<std::string> args = {"",
                                           "Привет, мир",
                                           std::string(4094, 'a'),
                                           std::string(4095, 'b'),
                                           std::string(70000, 'c') + "end",
                                           "last one"};
    ProcessRunner::Result result =
        ProcessRunner(LAUNCHER_OS_UTILS_HOST).argv0("host").args(args).run();
    ASSERT_EQ(0, result.exitCode) << result.out;
    std::vector<std::string> printed;
    for (size_t at = 0, end; (end = result.out.find('\0', at)) != std::string::npos; at = end + 1) {
        printed.push_back(result.out.substr(at, end - at));
    }
    std::vector<std::string> expected = {"host"};
    expected.insert(expected.end(), args.begin(), args.end());
    const auto exe = std::filesystem::canonical(LAUNCHER_OS_UTILS_HOST);
    expected.push_back(exe);
    expected.push_back(exe.parent_path());
    EXPECT_EQ(expected, printed);
}

TEST(LinuxProcessUtilsTest, SleepIsOneShortNanosleep) {
    LinuxProcessUtils process;
    using Clock = std::chrono::steady_clock;
    auto start = Clock::now();
    EXPECT_EQ(0, process.sleep(30));
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(30));
    // A second or more is refused at once rather than slept.
    start = Clock::now();
    for (long refused : {1000L, 1500L, -1L, 9223372036854775807L}) {
        EXPECT_NE(0, process.sleep(refused)) << refused;
    }
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(500));
}

}  // namespace
