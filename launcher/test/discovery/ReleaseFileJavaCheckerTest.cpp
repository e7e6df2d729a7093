#include "discovery/ReleaseFileJavaChecker.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/IOsUtilsFactory.h"
#include "support/TempDir.h"

namespace {

class ReleaseFileJavaCheckerTest : public ::testing::Test {
  protected:
    // A Java home whose release file holds exactly `release`.
    bool check(const std::string& release, int minimalVersion) {
        home.write("release", release);
        return checker.check(home.wpath(), minimalVersion);
    }
    bool checkVersion(const std::string& value, int minimalVersion) {
        return check("OS_ARCH=\"x86_64\"\nJAVA_VERSION=" + value + "\n", minimalVersion);
    }

    TempDir home;
    ReleaseFileJavaChecker checker{getOsUtilsFactory()};
};

TEST_F(ReleaseFileJavaCheckerTest, ReadsNewAndOldVersionNumbering) {
    EXPECT_TRUE(checkVersion("\"1.8.0_292\"", 8));
    EXPECT_FALSE(checkVersion("\"1.8.0_292\"", 11));
    EXPECT_TRUE(checkVersion("1-9", 9));
    EXPECT_FALSE(checkVersion("1-9", 10));
    EXPECT_TRUE(checkVersion("17", 17));
    EXPECT_FALSE(checkVersion("17", 18));
    EXPECT_TRUE(checkVersion("\"17.0.1\"", 17));
    EXPECT_FALSE(checkVersion("\"17.0.1\"", 18));
    EXPECT_TRUE(checkVersion("21-ea", 21));
    EXPECT_FALSE(checkVersion("21-ea", 22));
    // Not a comparison of texts: 100 is above 99.
    EXPECT_TRUE(checkVersion("\"100.0.1\"", 99));
}

TEST_F(ReleaseFileJavaCheckerTest, RefusesValuesWithoutACleanNumber) {
    EXPECT_FALSE(checkVersion("\"9\"", 0));  // one character once unquoted
    EXPECT_FALSE(checkVersion("9", 0));
    EXPECT_FALSE(checkVersion("\"\"", 0));
    EXPECT_FALSE(checkVersion("1.", 0));  // old numbering with nothing after it
    EXPECT_FALSE(checkVersion("x1", 0));
    EXPECT_FALSE(checkVersion("17ea", 0));
    EXPECT_FALSE(checkVersion("\"17", 0));  // a quote that is not closed stays
    EXPECT_FALSE(checkVersion("99999999999", 0));
    // An unclean number is -1, which only a negative minimum lets through; a
    // bare old-style prefix fails even then.
    EXPECT_TRUE(checkVersion("x1", -1));
    EXPECT_FALSE(checkVersion("1.", -1));
}

TEST_F(ReleaseFileJavaCheckerTest, WantsA64BitArchitecture) {
    EXPECT_TRUE(check("OS_ARCH=\"amd64\"\nJAVA_VERSION=\"17.0.1\"\n", 17));
    EXPECT_TRUE(check("OS_ARCH=aarch64\nJAVA_VERSION=\"17.0.1\"\n", 17));
    EXPECT_FALSE(check("OS_ARCH=\"i386\"\nJAVA_VERSION=\"17.0.1\"\n", 17));
    // The architecture fails the file even after the version passed.
    EXPECT_FALSE(check("JAVA_VERSION=\"17.0.1\"\nOS_ARCH=\"i386\"\n", 17));
}

TEST_F(ReleaseFileJavaCheckerTest, NeedsBothLinesAndChecksEveryRepetition) {
    EXPECT_FALSE(check("JAVA_VERSION=\"17.0.1\"\n", 8));
    EXPECT_FALSE(check("OS_ARCH=\"x86_64\"\n", 8));
    EXPECT_FALSE(check("", 8));
    // Keys are matched at the start of the line and case-sensitively.
    EXPECT_FALSE(check(" OS_ARCH=\"x86_64\"\nJAVA_VERSION=\"17\"\n", 8));
    EXPECT_FALSE(check("OS_ARCH=\"x86_64\"\njava_version=\"17\"\n", 8));
    EXPECT_FALSE(check("OS_ARCH=\"x86_64\"\nJAVA_VERSION=\"17\"\nJAVA_VERSION=\"1.8.0\"\n", 11));
    EXPECT_FALSE(check("OS_ARCH=\"x86_64\"\nOS_ARCH=\"x86\"\nJAVA_VERSION=\"17\"\n", 11));
    EXPECT_TRUE(check("IMPLEMENTOR=\"Someone\"\nOS_ARCH=\"x86_64\"\nJAVA_VERSION=\"17\"", 11));
}

TEST_F(ReleaseFileJavaCheckerTest, ReadsCarriageReturnLineEnds) {
    EXPECT_TRUE(check("OS_ARCH=\"x86_64\"\r\nJAVA_VERSION=\"11.0.2\"\r\n", 11));
    EXPECT_TRUE(check("OS_ARCH=\"x86_64\"\rJAVA_VERSION=\"11.0.2\"\r", 11));
    EXPECT_FALSE(check("OS_ARCH=\"x86_64\"\r\nJAVA_VERSION=\"11.0.2\"\r\n", 12));
}

TEST_F(ReleaseFileJavaCheckerTest, AHomeWithoutReleaseFileFails) {
    EXPECT_FALSE(checker.check(home.wpath(), 8));
    EXPECT_FALSE(checker.check(home.wpath("missing"), 8));
}

TEST_F(ReleaseFileJavaCheckerTest, ReadsTheRealJavaOfThisMachine) {
    const std::wstring openJdk17 = L"/usr/lib/jvm/java-17-openjdk-amd64";
    EXPECT_TRUE(checker.check(openJdk17, 17));
    EXPECT_FALSE(checker.check(openJdk17, 18));
}

}  // namespace
