#include "platform/LinuxConsole.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "platform/IOsUtilsFactory.h"
#include "support/Catalogue.h"
#include "support/ProcessRunner.h"
#include "support/TempDir.h"

namespace {

// The console rewires the process's own streams, so each case runs in a child
// that redirects, writes through the console and straight to the streams, and
// brings back the error text of the redirection. The child leaves through
// _exit, so anything still buffered is lost.
TEST(LinuxConsoleTest, RedirectionAppendsUnbufferedOrReportsTheDestination) {
    ScopedCatalogue english;
    TempDir dir;
    const std::string a = dir.path("a.txt"), b = dir.path("b.txt");
    const std::string bad = dir.path("missing/x.txt"), bad2 = dir.path("missing/y.txt");
    const std::string noSuchFile = ". Error: (2) No such file or directory";
    const std::string outWrites = "before\nout1 raw-out строка\n";
    const std::string errWrites = "before\nerr1 raw-err ошибка\n";
    struct Case {
        std::string cout, cerr, error, aAfter, bAfter;
    };
    const Case cases[] = {
        {a, b, "", outWrites, errWrites},
        // One file for both keeps the order of the writes.
        {a, a, "", "before\nout1 err1 raw-out raw-err строка\nошибка\n", "before\n"},
        {bad, b, "'--cout' destination '" + bad + "' is not accessible.", "before\n", errWrites},
        {a, bad, "'--cerr' destination '" + bad + "' is not accessible" + noSuchFile, outWrites,
         "before\n"},
        {bad, bad2, "'--cerr' destination '" + bad2 + "' is not accessible" + noSuchFile,
         "before\n", "before\n"},
        {bad, bad, "--cout and --cerr destinations are not accessible: " + bad + noSuchFile,
         "before\n", "before\n"},
    };
    for (const Case& c : cases) {
        dir.write("a.txt", "before\n");
        dir.write("b.txt", "before\n");
        ProcessRunner::Result result =
            ProcessRunner([&]() -> std::string {
                std::wstring errorText;
                std::unique_ptr<IConsole> console =
                    getOsUtilsFactory().createConsole(toWide(c.cout), toWide(c.cerr), errorText);
                console->write(L"out1 ");
                console->writeError(L"err1 ");
                std::fputs("raw-out ", stdout);
                std::fputs("raw-err ", stderr);
                console->writeLine(L"строка");
                console->writeErrorLine(L"ошибка");
                return toUtf8(errorText);
            }).run();
        SCOPED_TRACE(c.cout + " " + c.cerr);
        EXPECT_EQ(0, result.exitCode);
        EXPECT_EQ(c.error, result.out);
        EXPECT_EQ(c.aAfter, readWholeFile(a));
        EXPECT_EQ(c.bAfter, readWholeFile(b));
    }
}

}  // namespace
