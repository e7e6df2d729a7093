#include "discovery/ReleaseFileJavaChecker.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "platform/IOsUtilsFactory.h"
#include "support/TempDir.h"

namespace {

constexpr int kNone = INT_MIN;

TEST(ReleaseFileJavaCheckerTest, JudgesTheVersionAndArchitectureLines) {
    TempDir home;
    ReleaseFileJavaChecker checker(getOsUtilsFactory());
    EXPECT_FALSE(checker.check(home.wpath(), 8)) << "no release file";

    // The highest minimum a JAVA_VERSION value passes. An unclean number reads as
    // -1; a value too short once unquoted, or a bare old-style prefix, fails all.
    const std::pair<std::string, int> majors[] = {
        {"\"1.8.0_292\"", 8}, {"1-9", 9},   {"\"17.0.1\"", 17}, {"21-ea", 21}, {"x1", -1},
        {"17ea", -1},         {"\"17", -1}, {"\"9\"", kNone},   {"9", kNone},  {"1.", kNone},
    };
    for (const auto& [value, major] : majors) {
        home.write("release", "OS_ARCH=\"x86_64\"\nJAVA_VERSION=" + value + "\n");
        EXPECT_EQ(major != kNone, checker.check(home.wpath(), major)) << value;
        EXPECT_FALSE(checker.check(home.wpath(), major + 1)) << value;
    }
    const std::pair<std::string, bool> files[] = {
        {"OS_ARCH=aarch64\nJAVA_VERSION=\"17.0.1\"\n", true},
        // The architecture fails the file even after the version passed.
        {"JAVA_VERSION=\"17.0.1\"\nOS_ARCH=\"i386\"\n", false},
        {"JAVA_VERSION=\"17.0.1\"\n", false},
        {"OS_ARCH=\"x86_64\"\n", false},
        // Keys count at the start of a line only, and in capitals.
        {" OS_ARCH=\"x86_64\"\nJAVA_VERSION=\"17\"\n", false},
        {"OS_ARCH=\"x86_64\"\njava_version=\"17\"\n", false},
        // Every repetition is checked again.
        {"OS_ARCH=\"x86_64\"\nJAVA_VERSION=\"17\"\nJAVA_VERSION=\"1.8.0\"\n", false},
        {"OS_ARCH=\"x86_64\"\rJAVA_VERSION=\"17.0.2\"\r", true},
    };
    for (const auto& [release, expected] : files) {
        home.write("release", release);
        EXPECT_EQ(expected, checker.check(home.wpath(), 11)) << release;
    }
}

}  // namespace
