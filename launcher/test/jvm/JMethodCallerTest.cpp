#include "jvm/JMethodCaller.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "jvm/JvmHost.h"

namespace {

bool contains(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST(JMethodCallerTest, ClassLoadingVariantWalkAndRestartInARealJvm) {
    JvmHostRun run = runJvmHost("caller", primaryJavaHome(), 8);
    ASSERT_EQ(0, run.process.exitCode) << run.process.out << run.process.err;
    EXPECT_EQ(std::string::npos, run.process.err.find("WARNING in native method"))
        << run.process.err;

    // A second start is refused and leaves the first run alone.
    EXPECT_EQ("thrown", run.fact("secondCallerStart"));
    EXPECT_EQ("20", run.fact("secondCallerStart.code"));
    EXPECT_EQ("Cannot run JMethodCaller twice", run.fact("secondCallerStart.message"));
    EXPECT_FALSE(run.logMessages("Cannot run JMethodCaller twice").empty());
    EXPECT_EQ("ok", run.fact("echo"));
    EXPECT_EQ("echo-thread", run.fact("java.echo.thread"));
    EXPECT_EQ("true", run.fact("java.echo.contextLoaderIsContractLoader"));

    // No signature matches: the start method's code and every variant named.
    EXPECT_EQ("false", run.fact("neither.exists"));
    EXPECT_EQ("failed", run.fact("neither"));
    EXPECT_EQ("8", run.fact("neither.code"));
    EXPECT_EQ("launcher", run.fact("neither.type"));
    EXPECT_EQ(
        "Cannot find any method of: TwoArgumentsMethodVariant(start), "
        "SingleArgumentMethodVariant(start)",
        run.fact("neither.message"));
    std::vector<std::string> log = run.allLogMessages();
    EXPECT_TRUE(
        contains(log, "Try to use variant of jmethod variant=TwoArgumentsMethodVariant(start)"));
    EXPECT_TRUE(contains(
        log, "Unable to use variant of jmethod variant=SingleArgumentMethodVariant(start)"));

    // A missing stop method: the stop method's code and the single name.
    EXPECT_EQ("false", run.fact("noStop.exists"));
    EXPECT_EQ("9", run.fact("noStop.code"));
    EXPECT_EQ("Cannot find method stop", run.fact("noStop.message"));

    // Class loading failures are thrown by start itself, all with code 7.
    EXPECT_EQ("7", run.fact("load.Missing.code"));
    EXPECT_EQ("Cannot find Java class contract/Missing", run.fact("load.Missing.message"));
    EXPECT_EQ("7", run.fact("load.BadFormat.code"));
    EXPECT_EQ("Cannot load Java class contract/BadFormat. Incorrect class format.",
              run.fact("load.BadFormat.message"));
    EXPECT_EQ("7", run.fact("load.InitFails.code"));
    EXPECT_EQ("Cannot load Java class contract/InitFails.", run.fact("load.InitFails.message"));
    for (const char* name : {"Missing", "BadFormat", "InitFails"}) {
        EXPECT_EQ("false", run.fact(std::string("load.") + name + ".exists")) << name;
        EXPECT_TRUE(contains(log, std::string("Cannot find class class=contract/") + name)) << name;
    }
    EXPECT_TRUE(contains(log, "Incorrect class format"));
    EXPECT_TRUE(contains(log, "Cannot find class: "));
    EXPECT_TRUE(contains(log, "Cannot load class: "));
    EXPECT_EQ("false", run.fact("mainPendingAtEnd"));

    EXPECT_EQ("21", run.fact("emptyVariants.code"));
    EXPECT_EQ("Empty method call variants", run.fact("emptyVariants.message"));
}

}  // namespace
