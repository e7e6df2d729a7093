#include "platform/Logger.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "platform/LauncherException.h"
#include "platform/NopLogger.h"
#include "support/Catalogue.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

namespace {

std::wstring quoted(const std::wstring& text) {
    std::wstring out = L"<";
    appendQuoted(out, text);
    return out + L">";
}

TEST(LoggerQuotingTest, PlainTextStaysAsItIs) {
    EXPECT_EQ(L"<plain text: no specials/here>", quoted(L"plain text: no specials/here"));
    EXPECT_EQ(L"<>", quoted(L""));
}

TEST(LoggerQuotingTest, SeparatorsAndLineBreaksAreQuoted) {
    EXPECT_EQ(L"<'a,b'>", quoted(L"a,b"));
    EXPECT_EQ(L"<'k=v'>", quoted(L"k=v"));
    EXPECT_EQ(L"<'two\nlines'>", quoted(L"two\nlines"));
    EXPECT_EQ(L"<'cr\r'>", quoted(L"cr\r"));
}

TEST(LoggerQuotingTest, TheRarerQuoteWinsAndTiesGoToTheSingleQuote) {
    // A quote alone is reason enough to quote.
    EXPECT_EQ(L"<\"it's\">", quoted(L"it's"));
    EXPECT_EQ(L"<'say \"hi\"'>", quoted(L"say \"hi\""));
    // One of each: a tie, so single quotes, the inner one doubled.
    EXPECT_EQ(L"<'a''b\"c'>", quoted(L"a'b\"c"));
    // Two singles and one double: double quotes, the inner one doubled.
    EXPECT_EQ(L"<\"a'b'c\"\"d\">", quoted(L"a'b'c\"d"));
    EXPECT_EQ(L"<'''''\"\"'>", quoted(L"''\"\""));
}

class LoggerTest : public ::testing::Test {
  protected:
    void SetUp() override { resetLoggerForTesting(); }
    void TearDown() override {
        shutdownLogger();
        resetLoggerForTesting();
    }

    std::vector<LogLine> logLines() { return parseLogLines(readWholeFile(logPath)); }

    ScopedCatalogue english;
    TempDir dir;
    std::string logPath = dir.path("logs/launcher.log");
};

TEST_F(LoggerTest, LineLayout) {
    initLogger(toWide(logPath));
    const time_t before = time(nullptr);
    const int line = __LINE__ + 1;
    LOG_INFO(L"LoggerTest", L"CLI args parsed", L"args", L"a,b", L"count", 3);
    LOG_WARN(L"LoggerTest", L"a=b, raw message", L"k=ey", std::vector<std::wstring>{L"x", L"y"});
    LOG_ERROR(L"LoggerTest", L"no pairs", L"empty", std::vector<std::wstring>{});
    logMessage(LogLevel::info(), L"Win", "C:\\src\\platform\\Win.cpp", 7, "run", L"m", L"b", true,
               L"n", -5L, L"u", 18446744073709551615ULL);
    getLogger().log(LogLevel::info(), nullptr, nullptr, 0, nullptr, L"Привет");
    // time() reads a coarse clock that may lag the stamp's clock across a second.
    const time_t after = time(nullptr) + 1;
    shutdownLogger();

    std::vector<LogLine> lines = logLines();
    ASSERT_EQ(5u, lines.size()) << readWholeFile(logPath);
    const LogLine& first = lines[0];
    ASSERT_FALSE(first.time.empty()) << first.message;
    tm stamped{};
    ASSERT_NE(nullptr, strptime(first.time.c_str(), "%Y/%m/%d-%H:%M:%S", &stamped));
    stamped.tm_isdst = -1;
    EXPECT_LE(before, mktime(&stamped)) << first.time;
    EXPECT_GE(after, mktime(&stamped)) << first.time;
    EXPECT_EQ("INFO", first.level);
    EXPECT_EQ(std::to_string(getpid()), first.pid);
    EXPECT_EQ(std::to_string(syscall(SYS_gettid)), first.tid);
    EXPECT_EQ("LoggerTest", first.className);
    EXPECT_EQ("LoggerTest.cpp", first.file);
    EXPECT_EQ(std::to_string(line), first.line);
    EXPECT_EQ("TestBody", first.function);
    EXPECT_EQ("CLI args parsed args='a,b', count=3", first.message);

    EXPECT_EQ("WARN", lines[1].level);
    EXPECT_EQ("a=b, raw message 'k=ey'='x, y'", lines[1].message);
    EXPECT_EQ("ERROR", lines[2].level);
    EXPECT_EQ("no pairs empty=empty", lines[2].message);
    // The whole line, to the byte, once the time is known.
    EXPECT_EQ(lines[3].time + ",SYSTEM,0,level=INFO,pid=" + first.pid + ",tid=" + first.tid +
                  ",component=launcher,class=Win,file=Win.cpp,line=7,func=run,message=m "
                  "b=true, n=-5, u=18446744073709551615",
              splitLines(readWholeFile(logPath))[3]);
    // Nothing but complete lines.
    EXPECT_EQ('\n', readWholeFile(logPath).back());
    EXPECT_EQ("", lines[4].className);
    EXPECT_EQ("", lines[4].file);
    EXPECT_EQ("", lines[4].function);
    EXPECT_EQ("Привет", lines[4].message);
}

TEST_F(LoggerTest, SecondInitIsRefusedAndLeavesTheFirstLoggerAlone) {
    initLogger(toWide(logPath));
    LOG_INFO(L"LoggerTest", L"first");
    try {
        initLogger(toWide(logPath));
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(L"Logger was already initialized", e.getMessage());
    }
    // The refused call must not have rotated the file in use.
    EXPECT_FALSE(pathExists(logPath + ".1"));
    LOG_INFO(L"LoggerTest", L"second");
    shutdownLogger();
    std::vector<LogLine> lines = logLines();
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ("first", lines[0].message);
    EXPECT_EQ("second", lines[1].message);
}

TEST_F(LoggerTest, SecondInitIsRefusedAfterTheNopLoggerToo) {
    initLogger(L"");
    EXPECT_EQ(&NopLogger::instance(), &getLogger());
    EXPECT_FALSE(isLoggingEnabled());
    try {
        initLogger(toWide(logPath));
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(L"Logger was already initialized", e.getMessage());
    }
    EXPECT_FALSE(pathExists(logPath));
}

TEST_F(LoggerTest, FailedInitLeavesNoLoggerBehind) {
    dir.write("file", "");
    EXPECT_THROW(initLogger(dir.wpath("file/launcher.log")), LauncherException);
    EXPECT_FALSE(isLoggingEnabled());
    initLogger(dir.wpath("launcher.log"));
    EXPECT_TRUE(isLoggingEnabled());
}

TEST_F(LoggerTest, CallsBeforeInitAndAfterShutdownGoNowhere) {
    EXPECT_EQ(&NopLogger::instance(), &getLogger());
    LOG_ERROR(L"LoggerTest", L"too early", L"k", 1);
    getLogger().flush();

    initLogger(toWide(logPath));
    LOG_INFO(L"LoggerTest", L"kept");
    shutdownLogger();
    EXPECT_EQ(&NopLogger::instance(), &getLogger());
    LOG_ERROR(L"LoggerTest", L"too late");
    getLogger().flush();
    shutdownLogger();  // a second shutdown is harmless

    std::vector<LogLine> lines = logLines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ("kept", lines[0].message);
}

TEST_F(LoggerTest, LinesReachTheDiskOnFlushNotPerLine) {
    initLogger(toWide(logPath));
    LOG_INFO(L"LoggerTest", L"buffered");
    EXPECT_EQ("", readWholeFile(logPath));
    getLogger().flush();
    std::vector<LogLine> lines = logLines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ("buffered", lines[0].message);
}

TEST_F(LoggerTest, ConcurrentLinesStayWholeAndComplete) {
    initLogger(toWide(logPath));
    constexpr int kThreads = 8;
    constexpr int kLines = 1500;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            // Long enough that the stream buffer fills mid-line now and then.
            const std::wstring padding(t * 37 + 11, L'a' + t);
            for (int i = 0; i < kLines; ++i) {
                LOG_INFO(L"LoggerTest", L"tick", L"thread", t, L"seq", i, L"pad", padding);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    shutdownLogger();

    std::vector<LogLine> lines = logLines();
    ASSERT_EQ(static_cast<size_t>(kThreads * kLines), lines.size());
    std::vector<int> next(kThreads, 0);
    std::vector<std::string> tids(kThreads);
    for (const LogLine& line : lines) {
        ASSERT_FALSE(line.time.empty()) << "broken line: " << line.message;
        int t = -1;
        int seq = -1;
        char pad[2048] = {};
        ASSERT_EQ(3, std::sscanf(line.message.c_str(), "tick thread=%d, seq=%d, pad=%2047s", &t,
                                 &seq, pad))
            << line.message;
        ASSERT_TRUE(t >= 0 && t < kThreads) << line.message;
        EXPECT_EQ(std::string(t * 37 + 11, static_cast<char>('a' + t)), pad);
        ASSERT_EQ(next[t], seq) << "lost or reordered line of thread " << t;
        ++next[t];
        if (tids[t].empty()) {
            tids[t] = line.tid;
        }
        EXPECT_EQ(tids[t], line.tid);
    }
    for (int t = 1; t < kThreads; ++t) {
        EXPECT_NE(tids[0], tids[t]);
    }
}

}  // namespace
