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
    const std::string a = dir.path("a.txt"), b = dir.path("b.txt"), bad = dir.path("no/x.txt");
    const std::string bad2 = dir.path("no/y.txt"),
                      noFile = ". Error: (2) No such file or directory";
    const std::string out = "before\nout1 raw-out строка\n", err = "before\nerr1 raw-err ошибка\n";
    const std::string both = "before\nout1 err1 raw-out raw-err строка\nошибка\n";
    // --cout, --cerr, the error text, then a.txt and b.txt afterwards.
    const std::string cases[][5] = {
        {a, b, "", out, err},
        // One file for both keeps the order of the writes.
        {a, a, "", both, "before\n"},
        {bad, b, "'--cout' destination '" + bad + "' is not accessible.", "before\n", err},
        {a, bad, "'--cerr' destination '" + bad + "' is not accessible" + noFile, out, "before\n"},
        {bad, bad2, "'--cerr' destination '" + bad2 + "' is not accessible" + noFile, "before\n",
         "before\n"},
        {bad, bad, "--cout and --cerr destinations are not accessible: " + bad + noFile, "before\n",
         "before\n"}};
    for (const auto& c : cases) {
        dir.write("a.txt", "before\n");
        dir.write("b.txt", "before\n");
        ProcessRunner::Result result =
            ProcessRunner([&]() -> std::string {
                std::wstring errorText;
                std::unique_ptr<IConsole> console =
                    getOsUtilsFactory().createConsole(toWide(c[0]), toWide(c[1]), errorText);
                console->write(L"out1 ");
                console->writeError(L"err1 ");
                std::fputs("raw-out ", stdout);
                std::fputs("raw-err ", stderr);
                console->writeLine(L"строка");
                console->writeErrorLine(L"ошибка");
                return toUtf8(errorText);
            }).run();
        EXPECT_EQ(c[2] + "|" + c[3] + "|" + c[4],
                  result.out + "|" + readWholeFile(a) + "|" + readWholeFile(b))
            << c[0] << " " << c[1];
    }
}

}  // namespace
