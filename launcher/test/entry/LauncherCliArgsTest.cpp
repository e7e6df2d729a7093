#include "entry/LauncherCliArgs.h"

#include <gtest/gtest.h>

#include <climits>
#include <iterator>
#include <sstream>

#include "fakes/FakeOsUtilsFactory.h"
#include "support/Catalogue.h"

namespace {

using Strings = std::vector<std::wstring>;

class LauncherCliArgsTest : public ::testing::Test {
  protected:
    LauncherCliArgsTest() { os.files.addDirectory(L"/srv/instance"); }

    std::shared_ptr<LauncherCliArgs> parse(Strings args) {
        args.insert(args.begin(), L"/opt/launcher/bin/launcher");
        return LauncherCliArgs::create(os, args);
    }
    // The arguments separated by blanks.
    std::shared_ptr<LauncherCliArgs> parse(const std::wstring& line) {
        std::wistringstream in(line);
        return parse(Strings(std::istream_iterator<std::wstring, wchar_t>(in), {}));
    }

    ScopedCatalogue english;
    FakeOsUtilsFactory os;
};

TEST_F(LauncherCliArgsTest, AnExplicitInstanceRootWinsAndAFailedLookUpIsReported) {
    EXPECT_EQ(
        Strings{L"-Dinstance.root=/x"},
        parse(L"start --jvmopt -Dinstance.root=/x --instance /srv/instance")->getJvmOptions());
    os.files.failOn(L"/srv/locked");
    EXPECT_EQ(
        L"Cannot set instance root: '/srv/locked'. Error: Cannot read file '/srv/locked'. Error: "
        L"(13) Permission denied",
        parse(L"start --instance /srv/locked")->getErrorText());
}

TEST_F(LauncherCliArgsTest, OptionValueIsTheNextArgumentWhateverItLooksLike) {
    auto args = parse({L"start", L"--jvmopt", L"-Xmx1g", L"--workdir", L"--daemon",
                       L"--jvmopt=-a=b", L"--jvmopt", L"--help", L"--jvmopt="});
    ASSERT_TRUE(args->isStart()) << args->getErrorText();
    EXPECT_EQ(L"--daemon", args->getWorkDirectory());
    EXPECT_FALSE(args->isDaemon());
    EXPECT_EQ((Strings{L"-Xmx1g", L"-a=b", L"--help", L""}), args->getJvmOptions());

    // An empty number is no number at all; a PID is read the way stoi reads it.
    auto stop = parse({L"stop", L"--pid", L" +42", L"--timeout", L"0", L"--fast"});
    EXPECT_EQ(42, stop->getPidToStop());
    EXPECT_EQ(0ul, stop->getStopTimeoutMillis().value());
    // A minus wraps around, the way stoul reads it.
    EXPECT_EQ(ULONG_MAX, parse(L"stop --timeout -1")->getStopTimeoutMillis().value());
    auto empty = parse({L"stop", L"--pid=", L"--timeout", L""});
    ASSERT_TRUE(empty->isStop()) << empty->getErrorText();
    EXPECT_EQ(-1, empty->getPidToStop());
    EXPECT_FALSE(empty->getStopTimeoutMillis().hasValue());
}

TEST_F(LauncherCliArgsTest, ProblemsComeOneALineDuplicatesOnceAndStrayArgumentsLast) {
    EXPECT_EQ(
        L"--daemon can not be duplicated, only one occurrence is allowed\n"
        L"Option --workdir value is not set\n"
        L"Unexpected CLI arguments: extra start --nope",
        parse(L"start extra --daemon --daemon --daemon start --nope --workdir")->getErrorText());
    EXPECT_EQ(L"--cerr is conflicting with --cstd",
              parse(L"stop --cstd /s --cerr /e")->getErrorText());
}

TEST_F(LauncherCliArgsTest, StreamsGoToTheirDestinationsUnlessTheLogSharesOneOrRedirectionFails) {
    os.files.addDirectory(L"/logs");
    parse(L"stop --cstd /logs/s")->createConsole();
    EXPECT_EQ((Strings{L"/logs/s", L"/logs/s"}), (Strings{os.consoleCoutPath, os.consoleCerrPath}));

    auto shared = parse(L"start --cstd /logs/both.txt --clog /logs/both.txt");
    shared->createConsole();
    EXPECT_EQ(L"--clog cannot reuse destination of --cout or --cerr: /logs/both.txt",
              shared->getErrorText());
    EXPECT_EQ((Strings{L"", L""}), (Strings{os.consoleCoutPath, os.consoleCerrPath}));

    os.consoleErrorText = L"'--cout' destination '/logs/o' is not accessible.";
    auto redirectionFails = parse(L"stop --cout /logs/o");
    redirectionFails->createConsole();
    EXPECT_TRUE(redirectionFails->isError());
    EXPECT_EQ(os.consoleErrorText, redirectionFails->getErrorText());
}

TEST_F(LauncherCliArgsTest, UsageNamesTheProgramByTheFirstRawArgument) {
    parse(L"help stop");
    EXPECT_EQ(0u, os.consoleText->out.find(
                      L"Usage: /opt/launcher/bin/launcher stop [options] [arguments]\n"));
    os.consoleText->out.clear();
    EXPECT_TRUE(LauncherCliArgs::create(os, {})->isUsage());
    EXPECT_EQ(0u, os.consoleText->out.find(L"Usage: launcher help [options] [arguments]\n"));
}

}  // namespace
