#include "config/LauncherParameters.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "config/IServiceInstanceParameters.h"
#include "config/LauncherConfig.h"
#include "discovery/IJavaFinder.h"
#include "discovery/IJavaLibResolver.h"
#include "entry/LauncherCliArgs.h"
#include "fakes/FakeConsole.h"
#include "fakes/FakeOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "support/Catalogue.h"

namespace {

class FakeJavaFinder : public IJavaFinder {
  public:
    FoundJavaHome findJavaHome(int minimalVersion) override {
        askedFor.push_back(minimalVersion);
        return answer;
    }
    const std::wstring& getLastError() const override { return lastError; }

    FoundJavaHome answer;
    std::wstring lastError;
    std::vector<int> askedFor;
};

// A JVM library under "<home>/lib/server" for the homes it knows.
class FakeJavaLibResolver : public IJavaLibResolver {
  public:
    std::wstring findJvmLibrary(const std::wstring& javaHome) override {
        if (homes.count(javaHome) == 0) {
            throw LauncherException(LauncherException::kJvmLoad, L"Cannot find JVM library");
        }
        return javaHome + L"/lib/server/libjvm.so";
    }
    std::vector<std::wstring> getExtraLibraries(const std::wstring&) override { return {}; }
    bool hasMessage() const override { return false; }
    const std::wstring& getMessage() const override { return message; }

    std::map<std::wstring, bool> homes;
    std::wstring message;
};

class FakeServiceParameters : public IServiceInstanceParameters {
  public:
    void read() override {}
    SimpleOptional<std::wstring> getJavaHome() const override {
        return javaHome.empty() ? SimpleOptional<std::wstring>() : javaHome;
    }
    const std::vector<std::wstring>& getJvmOptions() const override { return jvmOptions; }
    void logState(ILogger&) const override {}

    std::wstring javaHome;
    std::vector<std::wstring> jvmOptions;
};

class LauncherParametersTest : public ::testing::Test {
  protected:
    LauncherParametersTest() {
        os.files.addDirectory(L"/srv/inst");
        for (const wchar_t* home : {L"/cli/jdk", L"/yml/jdk", L"/ini/jdk", L"/found/jdk"}) {
            resolver.homes[home] = true;
        }
    }

    std::unique_ptr<LauncherParameters> merge(std::vector<std::wstring> args,
                                              const std::string& ymlText = std::string()) {
        args.insert(args.begin(), L"launcher");
        auto cli = LauncherCliArgs::create(os, args);
        EXPECT_FALSE(cli->isError()) << toUtf8(cli->getErrorText());
        if (!ymlText.empty()) {
            os.files.addFile(L"/srv/inst/launcher.yml", ymlText);
        }
        LauncherConfig config =
            LauncherConfig::readLauncherConfig(os, cli->getInstanceDirectory(), cli->isStart());
        EXPECT_FALSE(config.hasError()) << toUtf8(config.getErrorText());
        FakeConsole console(os.consoleText);
        return std::make_unique<LauncherParameters>(os, console, *cli, config, service, finder,
                                                    resolver);
    }

    std::unique_ptr<LauncherParameters> start(std::vector<std::wstring> extra,
                                              const std::string& ymlText = std::string()) {
        std::vector<std::wstring> args = {L"start", L"--jclasspath", L"/app/*.jar",
                                          L"--jifaceclass", L"app.Main"};
        args.insert(args.end(), extra.begin(), extra.end());
        return merge(args, ymlText);
    }

    ScopedCatalogue english;
    FakeOsUtilsFactory os;
    FakeJavaFinder finder;
    FakeJavaLibResolver resolver;
    FakeServiceParameters service;
};

// launcher.yml with the given lines under launcher-parameters.
std::string yml(const std::string& lines) {
    std::string text = "launcher-parameters:\n";
    size_t start = 0;
    while (start < lines.size()) {
        size_t end = lines.find('\n', start);
        text += "  " + lines.substr(start, end - start + 1);
        start = end + 1;
    }
    return text;
}

TEST_F(LauncherParametersTest, CommandLineWinsOverLauncherYml) {
    auto both = start({L"--instance", L"/srv/inst", L"--workdir", L"/cli/work", L"--pidfile",
                       L"/cli/pid", L"--javahome", L"/cli/jdk"},
                      yml("work-dir: /yml/work\npid-file: /yml/pid\njava-home: /yml/jdk\n"
                          "class-path: /yml/*.jar\nmain-class: yml.Main\nlog-file: /yml/log\n"));
    EXPECT_EQ(L"/cli/work", both->getWorkDirectory());
    EXPECT_EQ(L"/cli/pid", both->getPidFilePath());
    EXPECT_EQ(L"/cli/jdk", both->getJavaHome());
    EXPECT_EQ(L"/cli/jdk/lib/server/libjvm.so", both->getJvmLibraryPath());
    EXPECT_EQ(L"/app/*.jar", both->getClassPath());
    EXPECT_EQ(L"app.Main", both->getMainClass());
    EXPECT_EQ(L"/yml/log", both->getLogFilePath());
    EXPECT_FALSE(both->hasMessage()) << toUtf8(both->getMessageText());
    EXPECT_TRUE(finder.askedFor.empty());
}

TEST_F(LauncherParametersTest, LauncherYmlFillsWhatTheCommandLineLeavesOut) {
    auto parameters = merge({L"start", L"--instance", L"/srv/inst"},
                            yml("module-path: /mods\nmain-class: yml.Main\njava-home: /yml/jdk\n"
                                "quiet: true\nminimal-java-version: 11\n"));
    EXPECT_FALSE(parameters->hasMessage()) << toUtf8(parameters->getMessageText());
    EXPECT_EQ(L"/mods", parameters->getModulePath());
    EXPECT_EQ(L"yml.Main", parameters->getMainClass());
    EXPECT_EQ(L"/yml/jdk", parameters->getJavaHome());
    EXPECT_TRUE(parameters->isQuiet());
    EXPECT_EQ(11, parameters->getMinimalJavaVersion());
}

TEST_F(LauncherParametersTest, JavaHomeComesFromYmlThenIniThenTheFinder) {
    service.javaHome = L"/ini/jdk";
    EXPECT_EQ(L"/yml/jdk",
              start({L"--instance", L"/srv/inst"}, yml("java-home: /yml/jdk\n"))->getJavaHome());
    EXPECT_EQ(L"/ini/jdk", start({})->getJavaHome());
    EXPECT_TRUE(finder.askedFor.empty());

    service.javaHome.clear();
    finder.answer = FoundJavaHome{L"/found/jdk", true};
    auto guessed = start({L"--instance", L"/srv/inst"}, yml("minimal-java-version: 17\n"));
    EXPECT_EQ(L"/found/jdk", guessed->getJavaHome());
    EXPECT_EQ(std::vector<int>{17}, finder.askedFor);
    EXPECT_FALSE(guessed->hasMessage());
}

TEST_F(LauncherParametersTest, JvmLibraryGivenDirectlyNeedsNoHome) {
    auto parameters = start({L"--jvmdll", L"/x/libjvm.so"});
    EXPECT_EQ(L"/x/libjvm.so", parameters->getJvmLibraryPath());
    EXPECT_EQ(L"", parameters->getJavaHome());
    EXPECT_TRUE(finder.askedFor.empty());
    EXPECT_FALSE(parameters->hasMessage());
}

TEST_F(LauncherParametersTest, JvmOptionsRunFromYmlThroughIniAndEnvironmentToCommandLine) {
    service.jvmOptions = {L"-Dini=1", L"-Dspaced=a b"};
    os.process.environment[L"JVM_OPTS"] = L"  -Denv=1\t-Xss1m ";
    auto parameters = start({L"--instance", L"/srv/inst", L"--jvmopt", L"-Xmx1g", L"--jifacearg",
                             L"cli-arg", L"--javahome", L"/cli/jdk"},
                            yml("jvm-opts:\n- -Dyml=1\n- -Xmx512m\nquiet: false\n"
                                "main-class-args:\n- yml-arg\n"));
    EXPECT_EQ(
        (std::vector<std::wstring>{L"-Dyml=1", L"-Xmx512m", L"-Dini=1", L"-Dspaced=a b", L"-Denv=1",
                                   L"-Xss1m", L"-Xmx1g", L"-Dinstance.root=/srv/inst"}),
        parameters->getJvmOptions());
    EXPECT_EQ((std::vector<std::wstring>{L"yml-arg", L"cli-arg"}), parameters->getMainClassArgs());
}

TEST_F(LauncherParametersTest, StartProblemsAreCollectedWithTheFirstCode) {
    auto parameters = merge({L"start", L"--javahome", L"/cli/jdk", L"--jvmdll", L"/x.so"});
    EXPECT_EQ(
        L"Neither --jclasspath nor --jmodulepath is set.\n"
        L"Option --jifaceclass value is not set\n"
        L"Mutually exclusive CLI arguments --javahome and --jvmdll are set",
        parameters->getMessageText());
    EXPECT_EQ(1, parameters->getExitCode());

    auto unguessable = start({});
    EXPECT_EQ(
        L"Cannot guess JAVA_HOME, it is not set explicitly, neither Orvik Inventory nor "
        L"environment variable contains a suitable Java version.",
        unguessable->getMessageText());
    EXPECT_EQ(4, unguessable->getExitCode());

    auto noLibrary = start({L"--javahome", L"/empty/jdk"});
    EXPECT_EQ(L"Cannot find JVM library", noLibrary->getMessageText());
    EXPECT_EQ(4, noLibrary->getExitCode());
}

TEST_F(LauncherParametersTest, BannerFollowsExplicitLanguageThenLocaleThenDefault) {
    const std::string config =
        yml("class-path: /a\nbanner:\n  default: Hello\n  ru: Привет\n"
            "  de_DE: Guten Tag\n");
    os.system.localeName = L"de_DE";
    os.system.language = L"de";
    EXPECT_EQ(L"Guten Tag", start({L"--instance", L"/srv/inst", L"--javahome", L"/cli/jdk"}, config)
                                ->getUserStartupMessage());
    EXPECT_EQ(L"Привет", start({L"--instance", L"/srv/inst", L"--javahome", L"/cli/jdk",
                                L"--jvmopt", L"-Duser.language=RU"},
                               config)
                             ->getUserStartupMessage());
    os.system.localeName = L"fr_FR";
    os.system.language = L"fr";
    EXPECT_EQ(L"Hello", start({L"--instance", L"/srv/inst", L"--javahome", L"/cli/jdk"}, config)
                            ->getUserStartupMessage());
    EXPECT_EQ(L"", start({L"--javahome", L"/cli/jdk"})->getUserStartupMessage());
}

TEST_F(LauncherParametersTest, StopNeedsExactlyOneOfPidAndPidFile) {
    EXPECT_EQ(L"None of CLI arguments --pid and --pidfile are set",
              merge({L"stop"})->getMessageText());
    auto both = merge({L"stop", L"--pid", L"12", L"--pidfile", L"/run/x.pid"});
    EXPECT_EQ(L"Mutually exclusive CLI arguments --pid and --pidfile are set",
              both->getMessageText());
    EXPECT_EQ(1, both->getExitCode());
    auto pid = merge({L"stop", L"--pid", L"12", L"--timeout", L"500", L"--fast"});
    EXPECT_FALSE(pid->hasMessage());
    EXPECT_EQ(12, pid->getPidToStop());
    EXPECT_EQ(500u, pid->getStopTimeoutMillis().value());
    EXPECT_TRUE(pid->isFast());
}

TEST_F(LauncherParametersTest, StopReadsThePidFileByItsOwnTenByteRule) {
    const std::wstring path = L"/run/x.pid";
    auto pidFrom = [&](const std::string& content) {
        os.files.addFile(path, content);
        return merge({L"stop", L"--pidfile", path});
    };
    EXPECT_EQ(4321, pidFrom("4321")->getPidToStop());
    EXPECT_EQ(77, pidFrom(std::string("77\0junk", 7))->getPidToStop());
    EXPECT_EQ(2147483647, pidFrom("2147483647")->getPidToStop());
    struct Case {
        std::string content;
        std::wstring message;
    };
    for (const Case& c : std::vector<Case>{
             {"", L"Zero-sized PID file '/run/x.pid'"},
             {"12345678901", L"Extra characters in PID file '/run/x.pid'"},
             {"123\n", L"Illegal characters in PID file '/run/x.pid'"},
             {" 123", L"Illegal characters in PID file '/run/x.pid'"},
             {"2147483648", L"Illegal characters in PID file '/run/x.pid'"},
         }) {
        auto parameters = pidFrom(c.content);
        EXPECT_EQ(c.message, parameters->getMessageText()) << c.content;
        EXPECT_EQ(-1, parameters->getPidToStop());
        EXPECT_EQ(3, parameters->getExitCode());
    }
    os.files.deleteFile(path);
    EXPECT_THROW(merge({L"stop", L"--pidfile", path}), LauncherException);
}

}  // namespace
