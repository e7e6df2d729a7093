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

class LoggerTest : public ::testing::Test {
  protected:
    void SetUp() override { resetLoggerForTesting(); }
    void TearDown() override { resetLoggerForTesting(); }
    ScopedCatalogue english;
    TempDir dir;
    std::string logPath = dir.path("logs/launcher.log");
};

TEST_F(LoggerTest, LineLayout) {
    initLogger(toWide(logPath));
    const int line = __LINE__ + 1;
    LOG_INFO(L"LoggerTest", L"CLI args parsed", L"args", L"a,b", L"count", 3);
    // The rarer quote wins, ties go to the single one, and a quote inside is doubled.
    LOG_WARN(L"LoggerTest", L"a=b, Привет", L"k=ey", std::vector<std::wstring>{L"x", L"y"}, L"q1",
             L"it's", L"q2", L"a'b\"c", L"q3", L"a'b'c\"d", L"q4", L"", L"n", -5L);
    getLogger().flush();

    const std::string text = readWholeFile(logPath);
    const std::vector<LogLine> lines = parseLogLines(text);
    ASSERT_EQ(2u, lines.size()) << text;
    tm stamped{};
    ASSERT_NE(nullptr, strptime(lines[0].time.c_str(), "%Y/%m/%d-%H:%M:%S", &stamped)) << text;
    stamped.tm_isdst = -1;
    EXPECT_LE(std::abs(difftime(time(nullptr), mktime(&stamped))), 2.0) << lines[0].time;
    const std::string ids = ",SYSTEM,0,level=INFO,pid=" + std::to_string(getpid()) +
                            ",tid=" + std::to_string(syscall(SYS_gettid)) + ",component=launcher,";
    EXPECT_EQ(lines[0].time + ids +
                  "class=LoggerTest,file=LoggerTest.cpp,line=" + std::to_string(line) +
                  ",func=TestBody,message=CLI args parsed args='a,b', count=3",
              splitLines(text)[0]);
    EXPECT_EQ(
        "WARN a=b, Привет 'k=ey'='x, y', q1=\"it's\", q2='a''b\"c', q3=\"a'b'c\"\"d\", "
        "q4=, n=-5",
        lines[1].level + " " + lines[1].message);
    EXPECT_EQ('\n', text.back());
}

TEST_F(LoggerTest, OnlyTheFirstInitCountsAndARefusedOneLeavesTheLogAlone) {
    dir.write("file", "");
    try {
        initLogger(dir.wpath("file/launcher.log"));
        ADD_FAILURE() << "a log under a file";
    } catch (const LauncherException& e) {
        EXPECT_EQ(L"10 Cannot create file '" + dir.wpath("file/launcher.log") +
                      L"'. Error: (20) Not a directory",
                  std::to_wstring(e.getCode()) + L" " + e.getMessage());
    }
    initLogger(toWide(logPath));
    LOG_INFO(L"LoggerTest", L"first");
    EXPECT_THROW(initLogger(toWide(logPath)), LauncherException);
    shutdownLogger();
    EXPECT_EQ(1u, parseLogLines(readWholeFile(logPath)).size());
    EXPECT_EQ((Names{"launcher.log"}), namesIn(dir.path("logs")));
}

TEST_F(LoggerTest, ConcurrentLinesStayWholeAndInOrder) {
    initLogger(toWide(logPath));
    constexpr int kThreads = 8, kLines = 1500;
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

    const std::vector<LogLine> lines = parseLogLines(readWholeFile(logPath));
    ASSERT_EQ(static_cast<size_t>(kThreads * kLines), lines.size());
    std::vector<int> next(kThreads, 0);
    for (const LogLine& line : lines) {
        int t = -1, seq = -1;
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
        {{"launcher.log", "launcher.logx7", "launcher.log.5", "launcher.log.abc", "launcher.log.9z",
          "old-launcher.log.50", "launcher.lo", "launcher.log..8"},
         "launcher.log.8"}};
    for (const auto& [present, rotatedTo] : cases) {
        SCOPED_TRACE(rotatedTo);
        TempDir dir;
        for (const std::string& name : present) {
            dir.write(name, "was " + name);
        }
        { LinuxFileLogger logger(dir.wpath("launcher.log")); }
        Names expected = present;
        expected.insert("launcher.log");
        if (!rotatedTo.empty()) {
            expected.insert(rotatedTo);
            EXPECT_EQ("was launcher.log", readWholeFile(dir.path(rotatedTo)));
        }
        EXPECT_EQ(expected, namesIn(dir.path()));
    }

    // A backslash splits the path like a slash: the index comes from directory "d",
    // while the log itself is the file "d\launcher.log" beside it.
    TempDir dir;
    dir.mkdir("d");
    dir.write("d/launcher.log", "");
    dir.write("d/launcher.log.2", "");
    dir.write("d\\launcher.log", "old");
    { LinuxFileLogger logger(dir.wpath("d\\launcher.log")); }
    EXPECT_EQ("old", readWholeFile(dir.path("d\\launcher.log.3")));
}

}  // namespace
