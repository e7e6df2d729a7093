#include "platform/LinuxConsole.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "platform/IOsUtilsFactory.h"
#include "support/Catalogue.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace {

// The console rewires the process's own streams, so each case runs in a child:
// it redirects, writes through the console and straight to the streams, and
// returns the error text of the redirection.
class LinuxConsoleTest : public ::testing::Test {
  protected:
    ChildResult redirect(const std::string& coutPath, const std::string& cerrPath) {
        return runInChild([&]() -> std::string {
            std::wstring errorText;
            std::unique_ptr<IConsole> console =
                getOsUtilsFactory().createConsole(toWide(coutPath), toWide(cerrPath), errorText);
            console->write(L"out1 ");
            console->writeError(L"err1 ");
            std::fputs("raw-out ", stdout);
            std::fputs("raw-err ", stderr);
            console->writeLine(L"строка");
            console->writeErrorLine(L"ошибка");
            return toUtf8(errorText);
        });
    }

    ScopedCatalogue english;
    TempDir dir;
};

TEST_F(LinuxConsoleTest, SeparateFilesAreAppendedUnbuffered) {
    dir.write("out.txt", "before\n");
    ChildResult result = redirect(dir.path("out.txt"), dir.path("err.txt"));
    ASSERT_EQ(0, result.exitCode) << result.output;
    EXPECT_EQ("", result.output);
    // The child leaves through _exit, so anything still buffered would be lost.
    EXPECT_EQ("before\nout1 raw-out строка\n", readWholeFile(dir.path("out.txt")));
    EXPECT_EQ("err1 raw-err ошибка\n", readWholeFile(dir.path("err.txt")));
}

TEST_F(LinuxConsoleTest, SameFileForBothKeepsTheOrderOfWrites) {
    dir.write("both.txt", "before\n");
    ChildResult result = redirect(dir.path("both.txt"), dir.path("both.txt"));
    ASSERT_EQ(0, result.exitCode) << result.output;
    EXPECT_EQ("", result.output);
    EXPECT_EQ("before\nout1 err1 raw-out raw-err строка\nошибка\n",
              readWholeFile(dir.path("both.txt")));
}

TEST_F(LinuxConsoleTest, WithoutRedirectionTheStreamsStay) {
    ChildResult result = runInChild([]() -> std::string {
        int fds[2];
        if (pipe(fds) != 0) {
            return "pipe failed";
        }
        dup2(fds[1], fileno(stdout));
        close(fds[1]);
        std::wstring errorText = L"untouched";
        std::unique_ptr<IConsole> console = getOsUtilsFactory().createConsole(L"", L"", errorText);
        console->writeLine(L"to the pipe");
        std::fflush(stdout);
        close(fileno(stdout));
        char buffer[256];
        ssize_t n = read(fds[0], buffer, sizeof(buffer));
        return toUtf8(errorText) + "|" + std::string(buffer, n > 0 ? n : 0);
    });
    EXPECT_EQ("untouched|to the pipe\n", result.output);
}

TEST_F(LinuxConsoleTest, FailingCoutIsReportedWithoutTheOsError) {
    const std::string bad = dir.path("missing/out.txt");
    ChildResult result = redirect(bad, dir.path("err.txt"));
    ASSERT_EQ(0, result.exitCode) << result.output;
    EXPECT_EQ("'--cout' destination '" + bad + "' is not accessible.", result.output);
    EXPECT_EQ("err1 raw-err ошибка\n", readWholeFile(dir.path("err.txt")));
}

TEST_F(LinuxConsoleTest, FailingCerrIsReportedWithTheOsError) {
    const std::string bad = dir.path("missing/err.txt");
    ChildResult result = redirect(dir.path("out.txt"), bad);
    ASSERT_EQ(0, result.exitCode) << result.output;
    EXPECT_EQ("'--cerr' destination '" + bad +
                  "' is not accessible. Error: (2) No such file or directory",
              result.output);
    EXPECT_EQ("out1 raw-out строка\n", readWholeFile(dir.path("out.txt")));
}

TEST_F(LinuxConsoleTest, WhenBothFailTheCerrMessageIsLeft) {
    const std::string badOut = dir.path("missing/out.txt");
    const std::string badErr = dir.path("missing/err.txt");
    ChildResult result = redirect(badOut, badErr);
    ASSERT_EQ(0, result.exitCode) << result.output;
    EXPECT_EQ("'--cerr' destination '" + badErr +
                  "' is not accessible. Error: (2) No such file or directory",
              result.output);
}

TEST_F(LinuxConsoleTest, FailingSharedDestination) {
    const std::string bad = dir.path("missing/both.txt");
    ChildResult result = redirect(bad, bad);
    ASSERT_EQ(0, result.exitCode) << result.output;
    EXPECT_EQ("--cout and --cerr destinations are not accessible: " + bad +
                  ". Error: (2) No such file or directory",
              result.output);
}

}  // namespace
