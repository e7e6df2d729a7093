#include "jvm/IMethodVariant.h"

#include <gtest/gtest.h>

#include "jvm/JvmHost.h"

namespace {

std::string frame(const std::string& method, const std::string& marker) {
    return "    contract.NestedFailure." + method +
           "(NestedFailure.java:" + std::to_string(fixtureLine("NestedFailure.java", marker)) + ")";
}

TEST(MethodVariantTest, ArgumentsAndJavaExceptionTextsInARealJvm) {
    JvmHostRun run = runJvmHost("variants", primaryJavaHome(), 8);
    ASSERT_EQ(0, run.process.exitCode) << run.process.out << run.process.err;
    EXPECT_EQ(std::string::npos, run.process.err.find("WARNING in native method"))
        << run.process.err;

    // Empty arguments still arrive as an empty array and an empty HashMap.
    EXPECT_EQ("ok", run.fact("echo"));
    EXPECT_EQ("0", run.fact("java.echo.args"));
    EXPECT_EQ("java.util.HashMap:0", run.fact("java.echo.map"));
    EXPECT_EQ(1u, run.logMessages("Do call JMethod args=, pathProperties=, booleanProperties=, "
                                  "method=start, class=contract/Echo")
                      .size());

    // Two nested causes: every frame, every cause, nothing shortened.
    EXPECT_EQ("failed", run.fact("nested"));
    EXPECT_EQ("java", run.fact("nested.type"));
    std::vector<std::string> expected = {
        "Java exception while invoking contract/NestedFailure.start: "
        "java.lang.IllegalStateException: outer failure",
        frame("start", "outer"),
        "Caused by: java.lang.IllegalArgumentException: middle failure",
        frame("middle", "middle"),
        frame("start", "callMiddle"),
        "Caused by: java.lang.UnsupportedOperationException: root cause",
        frame("innermost", "root"),
        frame("middle", "callInnermost"),
        frame("start", "callMiddle"),
    };
    std::vector<std::string> actual = splitAtNewlines(run.fact("nested.message"));
    ASSERT_EQ(expected.size(), actual.size()) << run.fact("nested.message");
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(expected[i], actual[i]) << "line " << i;
    }
    // The log carries the same text, quoted because it spans lines.
    std::string javaText = run.fact("nested.message");
    javaText = javaText.substr(javaText.find(": ") + 2);
    EXPECT_NE(std::string::npos,
              run.log.find(",message=JMethod thrown javaExceptionMessage='" + javaText +
                           "', callingMethodName=start, callingClassName=contract/NestedFailure\n"))
        << run.log;

    // A cause that cannot report its trace ends the text where it stands.
    EXPECT_EQ(
        "Java exception while invoking contract/BrokenTrace.start: "
        "java.lang.RuntimeException: reportable\n"
        "    contract.BrokenTrace.start(BrokenTrace.java:" +
            std::to_string(fixtureLine("BrokenTrace.java", "broken")) + ")",
        run.fact("broken.message"));

    // A failing stop method arrives the same way.
    EXPECT_EQ("java", run.fact("stopThrows.type"));
    EXPECT_EQ(
        "Java exception while invoking contract/StopThrows.stop: "
        "java.lang.IllegalStateException: stop refused\n"
        "    contract.StopThrows.stop(StopThrows.java:" +
            std::to_string(fixtureLine("StopThrows.java", "stop")) + ")",
        run.fact("stopThrows.message"));
}

}  // namespace
