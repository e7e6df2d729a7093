#include "platform/Logger.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/LauncherException.h"
#include "platform/LinuxFileLogger.h"
#include "platform/NopLogger.h"
#include "support/Catalogue.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

namespace {

using Names = std::set<std::string>;

Names namesIn(const std::string& directory) {
    Names names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.insert(entry.path().filename());
    }
    return names;
}

TEST(LoggerQuotingTest, TheRarerQuoteWinsAndTiesGoToTheSingleQuote) {
    // Commas and plain texts are in the line layout test below.
    const std::pair<std::wstring, std::wstring> cases[] = {{L"", L""},
                                                           {L"k=v", L"'k=v'"},
                                                           {L"two\nlines", L"'two\nlines'"},
                                                           {L"cr\r", L"'cr\r'"},
                                                           {L"it's", L"\"it's\""},
                                                           {L"say \"hi\"", L"'say \"hi\"'"},
                                                           {L"a'b\"c", L"'a''b\"c'"},
                                                           {L"a'b'c\"d", L"\"a'b'c\"\"d\""},
                                                           {L"''\"\"", L"'''''\"\"'"}};
    for (const auto& [text, expected] : cases) {
        std::wstring out = L"<";
        appendQuoted(out, text);
        EXPECT_EQ(L"<" + expected, out) << toUtf8(text);
    }
}

class LoggerTest : public ::testing::Test {
  protected:
    void SetUp() override { resetLoggerForTesting(); }
    void TearDown() override { resetLoggerForTesting(); }
    std::vector<LogLine> logLines() { return parseLogLines(readWholeFile(logPath)); }
    // The exit code and message initLogger fails with.
    std::wstring initFailure(const std::wstring& path) {
        try {
            initLogger(path);
        } catch (const LauncherException& e) {
            return std::to_wstring(e.getCode()) + L" " + e.getMessage();
        }
        return L"no failure";
    }

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
    logMessage(LogLevel::info(), L"Win", "C:\\src\\platform\\Win.cpp", 7, "run", L"m", L"b", true,
               L"n", -5L, L"u", 18446744073709551615ULL);
    getLogger().log(LogLevel::info(), nullptr, nullptr, 0, nullptr, L"Привет");
    // time() reads a coarse clock that may lag the stamp's clock across a second.
    const time_t after = time(nullptr) + 1;
    getLogger().flush();

    const std::string text = readWholeFile(logPath);
    std::vector<LogLine> lines = parseLogLines(text);
    ASSERT_EQ(4u, lines.size()) << text;
    tm stamped{};
    ASSERT_NE(nullptr, strptime(lines[0].time.c_str(), "%Y/%m/%d-%H:%M:%S", &stamped)) << text;
    stamped.tm_isdst = -1;
    EXPECT_LE(before, mktime(&stamped)) << lines[0].time;
    EXPECT_GE(after, mktime(&stamped)) << lines[0].time;
    const std::string ids = ",SYSTEM,0,level=INFO,pid=" + std::to_string(getpid()) +
                            ",tid=" + std::to_string(syscall(SYS_gettid)) + ",component=launcher,";
    EXPECT_EQ(lines[0].time + ids +
                  "class=LoggerTest,file=LoggerTest.cpp,line=" + std::to_string(line) +
                  ",func=TestBody,message=CLI args parsed args='a,b', count=3",
              splitLines(text)[0]);
    EXPECT_EQ("WARN", lines[1].level);
    EXPECT_EQ("a=b, raw message 'k=ey'='x, y'", lines[1].message);
    EXPECT_EQ(lines[2].time + ids +
                  "class=Win,file=Win.cpp,line=7,func=run,message=m b=true, n=-5, "
                  "u=18446744073709551615",
              splitLines(text)[2]);
    EXPECT_EQ(lines[3].time + ids + "class=,file=,line=0,func=,message=Привет",
              splitLines(text)[3]);
    EXPECT_EQ('\n', text.back());
}

TEST_F(LoggerTest, OnlyTheFirstInitCountsAndLinesWaitForFlush) {
    LOG_ERROR(L"LoggerTest", L"too early");
    dir.write("file", "");
    EXPECT_EQ(L"10 Cannot create file '" + dir.wpath("file/launcher.log") +
                  L"'. Error: (20) Not a directory",
              initFailure(dir.wpath("file/launcher.log")));
    EXPECT_FALSE(isLoggingEnabled());

    initLogger(toWide(logPath));
    EXPECT_TRUE(isLoggingEnabled());
    LOG_INFO(L"LoggerTest", L"first");
    EXPECT_EQ("", readWholeFile(logPath)) << "written before a flush";
    EXPECT_EQ(L"21 Logger was already initialized", initFailure(toWide(logPath)));
    LOG_INFO(L"LoggerTest", L"second");
    shutdownLogger();
    EXPECT_EQ(&NopLogger::instance(), &getLogger());
    LOG_ERROR(L"LoggerTest", L"too late");
    shutdownLogger();
    std::vector<LogLine> lines = logLines();
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ("first", lines[0].message);
    EXPECT_EQ("second", lines[1].message);
    // The refused call did not rotate the file in use.
    EXPECT_EQ((Names{"launcher.log"}), namesIn(dir.path("logs")));

    // Logging switched off still counts as the one init.
    resetLoggerForTesting();
    initLogger(L"");
    EXPECT_FALSE(isLoggingEnabled());
    EXPECT_EQ(L"21 Logger was already initialized", initFailure(dir.wpath("other.log")));
    EXPECT_FALSE(pathExists(dir.path("other.log")));
}

TEST_F(LoggerTest, ConcurrentLinesStayWholeAndInOrder) {
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
    for (const LogLine& line : lines) {
        int t = -1;
        int seq = -1;
        char pad[2048] = {};
        ASSERT_EQ(3, std::sscanf(line.message.c_str(), "tick thread=%d, seq=%d, pad=%2047s", &t,
                                 &seq, pad))
            << "broken line: " << line.message;
        ASSERT_TRUE(t >= 0 && t < kThreads) << line.message;
        EXPECT_EQ(std::string(t * 37 + 11, static_cast<char>('a' + t)), pad);
        ASSERT_EQ(next[t]++, seq) << "lost or reordered line of thread " << t;
    }
}

TEST(LinuxFileLoggerTest, AnExistingLogMovesPastTheLargestIndex) {
    ScopedCatalogue english;
    // Any one character may separate the index ("x7" counts as 7); names that are
    // not the base name, one character and digits only do not count at all.
    const std::pair<Names, std::string> cases[] = {
        {{"launcher.log.4"}, ""},
        {{"launcher.log"}, "launcher.log.1"},
        {{"launcher.log", "launcher.log.1", "launcher.log.2"}, "launcher.log.3"},
        {{"launcher.log", "launcher.logx7", "launcher.log.5", "launcher.log.abc", "launcher.log.9z",
          "old-launcher.log.50", "launcher.lo", "launcher.log..8"},
         "launcher.log.8"}};
    for (const auto& [present, rotatedTo] : cases) {
        SCOPED_TRACE(rotatedTo);
        TempDir dir;
        for (const std::string& name : present) {
            dir.write(name, "was " + name);
        }
        { LinuxFileLogger logger(dir.wpath("launcher.log"), 77); }
        Names expected = present;
        expected.insert("launcher.log");
        if (!rotatedTo.empty()) {
            expected.insert(rotatedTo);
            EXPECT_EQ("was launcher.log", readWholeFile(dir.path(rotatedTo)));
        }
        EXPECT_EQ(expected, namesIn(dir.path()));
        for (const std::string& name : present) {
            EXPECT_EQ(name == "launcher.log" ? "" : "was " + name, readWholeFile(dir.path(name)));
        }
    }
}

TEST(LinuxFileLoggerTest, BackslashSplitsThePathLikeASlash) {
    ScopedCatalogue english;
    TempDir dir;
    // The next index comes from the directory "d"; the log itself is the file
    // named "d\launcher.log" beside it.
    dir.mkdir("d");
    dir.write("d/launcher.log", "");
    dir.write("d/launcher.log.2", "");
    dir.write("d\\launcher.log", "old");
    { LinuxFileLogger logger(toWide(dir.path("d\\launcher.log")), 1); }
    EXPECT_EQ("old", readWholeFile(dir.path("d\\launcher.log.3")));
    EXPECT_EQ((Names{"d", "d\\launcher.log", "d\\launcher.log.3"}), namesIn(dir.path()));
}

}  // namespace
