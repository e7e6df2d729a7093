#include "entry/LauncherCliArgs.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "fakes/FakeOsUtilsFactory.h"
#include "support/Catalogue.h"

namespace {

class LauncherCliArgsTest : public ::testing::Test {
  protected:
    LauncherCliArgsTest() {
        os.files.addDirectory(L"/srv/instance");
        os.files.addDirectory(L"/logs");
        os.files.addFile(L"/etc/launcher.conf", "x");
    }

    std::shared_ptr<LauncherCliArgs> parse(std::vector<std::wstring> args) {
        args.insert(args.begin(), L"/opt/launcher/bin/launcher");
        return LauncherCliArgs::create(os, args);
    }
    // The arguments separated by blanks.
    std::shared_ptr<LauncherCliArgs> parse(const std::wstring& line) {
        std::vector<std::wstring> args;
        for (size_t at = 0; at < line.size();) {
            size_t end = std::min(line.find(L' ', at), line.size());
            args.push_back(line.substr(at, end - at));
            at = end + 1;
        }
        return parse(args);
    }

    const std::wstring& consoleOut() const { return os.consoleText->out; }

    ScopedCatalogue english;
    FakeOsUtilsFactory os;
};

TEST_F(LauncherCliArgsTest, StartReadsEveryOptionAndAddsTheInstanceRootAfterTheUserOptions) {
    auto args = parse(
        L"start --daemon --quiet --instance /srv/instance --procname tag --workdir /work "
        L"--pidfile /run/l.pid --cout /logs/out.txt --cerr /logs/err.txt --clog /logs/launcher.log "
        L"--servicename svc --javahome /jdk --jvmdll /jdk/lib/server/libjvm.so --jvmopt -Xmx1g "
        L"--jclasspath /app/lib/* --jmodulepath /app/mods --jifaceclass com.example.Main "
        L"--jifacearg a --jvmopt=-Dx=1 --jifacearg -b");
    ASSERT_TRUE(args->isStart()) << args->getErrorText();
    EXPECT_TRUE(args->isDaemon());
    EXPECT_TRUE(args->isQuiet());
    EXPECT_EQ(L"/srv/instance", args->getInstanceDirectory());
    EXPECT_EQ(L"tag", args->getProcessTag());
    EXPECT_EQ(L"/work", args->getWorkDirectory());
    EXPECT_EQ(L"/run/l.pid", args->getPidFilePath());
    EXPECT_EQ(L"/logs/out.txt", args->getCoutPath());
    EXPECT_EQ(L"/logs/err.txt", args->getCerrPath());
    EXPECT_EQ(L"/logs/launcher.log", args->getLogPath());
    EXPECT_EQ(L"svc", args->getServiceName());
    EXPECT_EQ(L"/jdk", args->getJavaHome());
    EXPECT_EQ(L"/jdk/lib/server/libjvm.so", args->getJvmLibrary());
    EXPECT_EQ(L"/app/lib/*", args->getClassPath());
    EXPECT_EQ(L"/app/mods", args->getModulePath());
    EXPECT_EQ(L"com.example.Main", args->getContractClass());
    EXPECT_EQ((std::vector<std::wstring>{L"-Xmx1g", L"-Dx=1", L"-Dinstance.root=/srv/instance"}),
              args->getJvmOptions());
    EXPECT_EQ((std::vector<std::wstring>{L"a", L"-b"}), args->getMainClassArgs());
    EXPECT_TRUE(args->areStreamsValid());
    EXPECT_TRUE(args->isLogDestinationValid());
    EXPECT_EQ(-1, args->getPidToStop());
    EXPECT_TRUE(consoleOut().empty());

    // Checking a destination leaves nothing behind, so a fresh log is not rotated.
    EXPECT_FALSE(os.files.hasFile(L"/logs/launcher.log"));
    EXPECT_FALSE(os.files.hasFile(L"/logs/out.txt"));

    auto console = args->createConsole();
    EXPECT_TRUE(args->isStart());
    EXPECT_EQ(L"/logs/out.txt", os.consoleCoutPath);
    EXPECT_EQ(L"/logs/err.txt", os.consoleCerrPath);
}

TEST_F(LauncherCliArgsTest, AnExplicitInstanceRootWinsAndAFailedLookUpIsReported) {
    auto explicitRoot =
        parse(L"start --jvmopt -Dinstance.root=/elsewhere --instance /srv/instance");
    EXPECT_EQ((std::vector<std::wstring>{L"-Dinstance.root=/elsewhere"}),
              explicitRoot->getJvmOptions());

    os.files.failOn(L"/srv/locked");
    auto locked = parse(L"start --instance /srv/locked");
    EXPECT_EQ(
        L"Cannot set instance root: '/srv/locked'. Error: Cannot read file '/srv/locked'. Error: "
        L"(13) Permission denied",
        locked->getErrorText());
    EXPECT_TRUE(locked->getJvmOptions().empty());
}

TEST_F(LauncherCliArgsTest, StopReadsPidTimeoutAndFast) {
    auto plain = parse(L"stop --pidfile /run/l.pid");
    ASSERT_TRUE(plain->isStop()) << plain->getErrorText();
    EXPECT_EQ(L"/run/l.pid", plain->getPidFilePath());
    EXPECT_EQ(-1, plain->getPidToStop());
    EXPECT_FALSE(plain->getStopTimeoutMillis().hasValue());
    EXPECT_FALSE(plain->isFast());
    EXPECT_FALSE(plain->isQuiet());

    auto full = parse({L"stop", L"--pid", L" +42", L"--timeout", L"0", L"--fast"});
    ASSERT_TRUE(full->isStop()) << full->getErrorText();
    EXPECT_EQ(42, full->getPidToStop());
    ASSERT_TRUE(full->getStopTimeoutMillis().hasValue());
    EXPECT_EQ(0ul, full->getStopTimeoutMillis().value());
    EXPECT_TRUE(full->isFast());

    // An empty value is no value at all.
    auto empty = parse({L"stop", L"--pid=", L"--timeout", L""});
    ASSERT_TRUE(empty->isStop()) << empty->getErrorText();
    EXPECT_EQ(-1, empty->getPidToStop());
    EXPECT_FALSE(empty->getStopTimeoutMillis().hasValue());
}

TEST_F(LauncherCliArgsTest, BadNumbersAreTheOnlyMessageButKeepTheLogDestination) {
    const std::vector<std::pair<std::vector<std::wstring>, std::wstring>> cases = {
        {{L"--pid", L"12 "}, L"Invalid PID syntax: '12 '"},
        {{L"--pid", L"pid"}, L"Invalid PID: 'pid'"},
        {{L"--pid", L"99999999999"}, L"Invalid PID: '99999999999'"},
        {{L"--timeout", L"99999999999999999999999"}, L"Invalid timeout '99999999999999999999999'"},
    };
    for (const auto& [options, message] : cases) {
        std::vector<std::wstring> line{L"stop", L"--cout", L"/nowhere/out.txt", L"--clog",
                                       L"/logs/stop.log"};
        line.insert(line.end(), options.begin(), options.end());
        auto args = parse(line);
        EXPECT_TRUE(args->isError()) << message;
        EXPECT_EQ(message, args->getErrorText());
        EXPECT_EQ(L"/logs/stop.log", args->getLogPath());
        EXPECT_TRUE(args->isLogDestinationValid());
        EXPECT_FALSE(args->areStreamsValid());
    }
}

TEST_F(LauncherCliArgsTest, CstdConflictsWithCerrAndAloneFeedsBothStreams) {
    auto withCerr = parse(L"stop --cstd /logs/s --cerr /logs/e");
    EXPECT_EQ(L"--cerr is conflicting with --cstd", withCerr->getErrorText());
    withCerr->createConsole();
    EXPECT_EQ(L"", os.consoleCerrPath);

    auto alone = parse(L"stop --cstd /logs/s");
    ASSERT_TRUE(alone->isStop()) << alone->getErrorText();
    alone->createConsole();
    EXPECT_EQ(L"/logs/s", os.consoleCoutPath);
    EXPECT_EQ(L"/logs/s", os.consoleCerrPath);
}

TEST_F(LauncherCliArgsTest, EveryFailedCheckIsReportedOnItsOwnLineInOrder) {
    os.files.addFile(L"/logs/existing.log", "old lines\n");
    auto args = parse(
        L"start --instance /srv/none --clog /nowhere/l.log --cerr /nowhere/err.txt --cout "
        L"/logs/existing.log");
    EXPECT_TRUE(args->isError());
    EXPECT_EQ(
        L"'--cerr' destination '/nowhere/err.txt' is not accessible. Error: (2) No such file or "
        L"directory\n"
        L"'--clog' destination '/nowhere/l.log' is not accessible. Error: (2) No such file or "
        L"directory\n"
        L"Cannot set instance root, because directory '/srv/none' does not exist.",
        args->getErrorText());
    EXPECT_FALSE(args->areStreamsValid());
    EXPECT_FALSE(args->isLogDestinationValid());
    // A file that was there is left as it was.
    EXPECT_EQ("old lines\n", os.files.contentOf(L"/logs/existing.log"));
}

TEST_F(LauncherCliArgsTest, LogMayNotShareAStreamDestinationAndFailedRedirectionIsAnError) {
    auto viaCstd = parse(L"start --cstd /logs/both.txt --clog /logs/both.txt");
    ASSERT_TRUE(viaCstd->isStart()) << viaCstd->getErrorText();
    viaCstd->createConsole();
    EXPECT_EQ(L"--clog cannot reuse destination of --cout or --cerr: /logs/both.txt",
              viaCstd->getErrorText());
    EXPECT_EQ(L"", os.consoleCoutPath);
    EXPECT_EQ(L"", os.consoleCerrPath);

    os.consoleErrorText = L"'--cout' destination '/logs/o' is not accessible.";
    auto redirectionFails = parse(L"stop --cout /logs/o");
    redirectionFails->createConsole();
    EXPECT_TRUE(redirectionFails->isError());
    EXPECT_EQ(L"'--cout' destination '/logs/o' is not accessible.",
              redirectionFails->getErrorText());
}

TEST_F(LauncherCliArgsTest, ParserErrorsStillNameAUsableLog) {
    auto args = parse(L"start --clog /logs/l.log --bogus");
    EXPECT_TRUE(args->isError());
    EXPECT_EQ(L"Unexpected CLI arguments: --bogus", args->getErrorText());
    EXPECT_EQ(L"/logs/l.log", args->getLogPath());
    EXPECT_TRUE(args->isLogDestinationValid());

    auto unusable = parse(L"start --clog=/nowhere/l.log --bogus");
    EXPECT_FALSE(unusable->isLogDestinationValid());
    EXPECT_EQ(
        L"Unexpected CLI arguments: --bogus\n'--clog' destination '/nowhere/l.log' is not "
        L"accessible. Error: (2) No such file or directory",
        unusable->getErrorText());
}

TEST_F(LauncherCliArgsTest, UsageNamesTheProgramByTheFirstRawArgument) {
    parse(L"help stop");
    EXPECT_EQ(0u,
              consoleOut().find(L"Usage: /opt/launcher/bin/launcher stop [options] [arguments]\n"));
    os.consoleText->out.clear();
    EXPECT_TRUE(LauncherCliArgs::create(os, {})->isUsage());
    EXPECT_EQ(0u, consoleOut().find(L"Usage: launcher help [options] [arguments]\n"));
}

}  // namespace
