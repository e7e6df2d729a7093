#include "config/LauncherParameters.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "config/LauncherConfig.h"
#include "config/ServiceInstanceParameters.h"
#include "discovery/IJavaFinder.h"
#include "discovery/JavaLibResolver.h"
#include "entry/LauncherCliArgs.h"
#include "fakes/FakeConsole.h"
#include "fakes/FakeOsUtilsFactory.h"
#include "support/Catalogue.h"

namespace {

using Strings = std::vector<std::wstring>;

class FakeJavaFinder : public IJavaFinder {
  public:
    FoundJavaHome findJavaHome(int minimalVersion) override {
        askedFor.push_back(minimalVersion);
        return answer;
    }
    const std::wstring& getLastError() const override { return answer.javaHome; }

    FoundJavaHome answer;
    std::vector<int> askedFor;
};

// The service "svc" has its ini file, when a test writes one, where the launcher looks;
// every Java home but /empty/jdk has its JVM library.
class LauncherParametersTest : public ::testing::Test {
  protected:
    LauncherParametersTest() {
        os.files.addDirectory(L"/srv/inst");
        for (const wchar_t* home : {L"/cli/jdk", L"/yml/jdk", L"/ini/jdk", L"/found/jdk"}) {
            os.files.addFile(std::wstring(home) + L"/lib/server/libjvm.so");
        }
    }

    void ini(const std::string& text) { os.files.addFile(L"/etc/default/Orvik/Tamsel/svc", text); }

    std::unique_ptr<LauncherParameters> merge(Strings args, const std::string& yml = "") {
        args.insert(args.begin(), L"launcher");
        auto cli = LauncherCliArgs::create(os, args);
        EXPECT_FALSE(cli->isError()) << toUtf8(cli->getErrorText());
        if (!yml.empty()) {
            os.files.addFile(L"/srv/inst/launcher.yml", yml);
        }
        LauncherConfig config =
            LauncherConfig::readLauncherConfig(os, cli->getInstanceDirectory(), cli->isStart());
        EXPECT_FALSE(config.hasError()) << toUtf8(config.getErrorText());
        ServiceInstanceParameters service(os, L"svc");
        service.read();
        FakeConsole console(os.consoleText);
        return std::make_unique<LauncherParameters>(os, console, *cli, config, service, finder,
                                                    resolver);
    }

    std::unique_ptr<LauncherParameters> start(Strings extra, const std::string& yml = "") {
        Strings args = {L"start", L"--jclasspath", L"/app/*.jar", L"--jifaceclass", L"app.Main"};
        args.insert(args.end(), extra.begin(), extra.end());
        return merge(args, yml);
    }

    ScopedCatalogue english;
    FakeOsUtilsFactory os;
    FakeJavaFinder finder;
    JavaLibResolver resolver{os};
};

// launcher.yml with the given lines under launcher-parameters.
std::string yml(const std::string& lines) {
    std::istringstream in(lines);
    std::string text = "launcher-parameters:\n";
    for (std::string line; std::getline(in, line);) {
        text += "  " + line + "\n";
    }
    return text;
}

Strings paths(const LauncherParameters& p) {
    return {p.getWorkDirectory(),  p.getPidFilePath(), p.getLogFilePath(), p.getJavaHome(),
            p.getJvmLibraryPath(), p.getClassPath(),   p.getModulePath(),  p.getMainClass()};
}

// The exit code and the text a refused merge prints.
std::wstring refusal(const std::unique_ptr<LauncherParameters>& p) {
    return std::to_wstring(p->getExitCode()) + L" " + p->getMessageText();
}

TEST_F(LauncherParametersTest, CommandLineWinsOverLauncherYmlWhichFillsTheRest) {
    const std::string both =
        yml("work-dir: /yml/work\npid-file: /yml/pid\njava-home: /yml/jdk\nlog-file: /yml/log\n"
            "class-path: /yml/*.jar\nmodule-path: /mods\nmain-class: yml.Main\nquiet: true\n"
            "minimal-java-version: 11\n");
    auto cli = start({L"--instance", L"/srv/inst", L"--workdir", L"/cli/work", L"--pidfile",
                      L"/cli/pid", L"--javahome", L"/cli/jdk"},
                     both);
    EXPECT_EQ((Strings{L"/cli/work", L"/cli/pid", L"/yml/log", L"/cli/jdk",
                       L"/cli/jdk/lib/server/libjvm.so", L"/app/*.jar", L"/mods", L"app.Main"}),
              paths(*cli));
    auto fromYml = merge({L"start", L"--instance", L"/srv/inst"}, both);
    EXPECT_EQ((Strings{L"/yml/work", L"/yml/pid", L"/yml/log", L"/yml/jdk",
                       L"/yml/jdk/lib/server/libjvm.so", L"/yml/*.jar", L"/mods", L"yml.Main"}),
              paths(*fromYml));
    EXPECT_TRUE(fromYml->isQuiet());
    EXPECT_EQ(11, fromYml->getMinimalJavaVersion());
    EXPECT_FALSE(cli->hasMessage() || fromYml->hasMessage());
    EXPECT_TRUE(finder.askedFor.empty());
}

TEST_F(LauncherParametersTest, JavaHomeComesFromYmlThenIniThenTheFinderUnlessTheLibraryIsGiven) {
    ini("JAVA_HOME=/ini/jdk\n");
    EXPECT_EQ(L"/yml/jdk",
              start({L"--instance", L"/srv/inst"}, yml("java-home: /yml/jdk\n"))->getJavaHome());
    EXPECT_EQ(L"/ini/jdk", start({})->getJavaHome());
    auto direct = start({L"--jvmdll", L"/x/libjvm.so"});
    EXPECT_EQ(L"/x/libjvm.so", direct->getJvmLibraryPath() + direct->getJavaHome());
    EXPECT_TRUE(finder.askedFor.empty());

    ini("");
    finder.answer = FoundJavaHome{L"/found/jdk", true};
    auto guessed = start({L"--instance", L"/srv/inst"}, yml("minimal-java-version: 17\n"));
    EXPECT_EQ(L"/found/jdk", guessed->getJavaHome());
    EXPECT_EQ(std::vector<int>{17}, finder.askedFor);
    EXPECT_FALSE(guessed->hasMessage());
}

TEST_F(LauncherParametersTest, JvmOptionsRunFromYmlThroughIniAndEnvironmentToCommandLine) {
    ini("JAVA_OPT=-Dini=1\nJAVA_OPT=-Dspaced=a b\n");
    os.process.environment[L"JVM_OPTS"] = L"  -Denv=1\t-Xss1m ";
    auto parameters = start(
        {L"--instance", L"/srv/inst", L"--jvmopt", L"-Xmx1g", L"--jifacearg", L"cli-arg"},
        yml("jvm-opts:\n- -Dyml=1\n- -Xmx512m\nquiet: swallowed\nmain-class-args:\n- yml-arg\n"));
    EXPECT_EQ((Strings{L"-Dyml=1", L"-Xmx512m", L"-Dini=1", L"-Dspaced=a b", L"-Denv=1", L"-Xss1m",
                       L"-Xmx1g", L"-Dinstance.root=/srv/inst"}),
              parameters->getJvmOptions());
    EXPECT_EQ((Strings{L"yml-arg", L"cli-arg"}), parameters->getMainClassArgs());
}

TEST_F(LauncherParametersTest, StartProblemsAreCollectedWithTheFirstCode) {
    EXPECT_EQ(
        L"1 Neither --jclasspath nor --jmodulepath is set.\nOption --jifaceclass value is not "
        L"set\nCannot guess JAVA_HOME, it is not set explicitly, neither Orvik Inventory nor "
        L"environment variable contains a suitable Java version.",
        refusal(merge({L"start"})));
    EXPECT_EQ(L"1 Mutually exclusive CLI arguments --javahome and --jvmdll are set",
              refusal(start({L"--javahome", L"/cli/jdk", L"--jvmdll", L"/x.so"})));
    EXPECT_EQ(L"4 Cannot find JVM library", refusal(start({L"--javahome", L"/empty/jdk"})));
}

TEST_F(LauncherParametersTest, BannerFollowsExplicitLanguageThenLocaleThenDefault) {
    const std::string config = yml("banner:\n  default: Hello\n  ru: Привет\n  de_DE: Guten Tag\n");
    auto banner = [&](Strings extra) { return start(extra, config)->getUserStartupMessage(); };
    os.system.localeName = L"de_DE";
    os.system.language = L"de";
    EXPECT_EQ(L"Guten Tag", banner({L"--instance", L"/srv/inst"}));
    EXPECT_EQ(L"Привет", banner({L"--instance", L"/srv/inst", L"--jvmopt", L"-Duser.language=RU"}));
    os.system.localeName = L"fr_FR";
    os.system.language = L"fr";
    EXPECT_EQ(L"Hello", banner({L"--instance", L"/srv/inst"}));
    EXPECT_EQ(L"", banner({}));
}

TEST_F(LauncherParametersTest, StopTakesThePidOrReadsThePidFileByItsOwnTenByteRule) {
    auto pid = merge({L"stop", L"--pid", L"12", L"--timeout", L"500", L"--fast"});
    EXPECT_FALSE(pid->hasMessage());
    EXPECT_EQ(12, pid->getPidToStop());
    EXPECT_EQ(500u, pid->getStopTimeoutMillis().value());
    EXPECT_TRUE(pid->isFast());

    auto pidFrom = [&](const std::string& content) {
        os.files.addFile(L"/run/x.pid", content);
        return merge({L"stop", L"--pidfile", L"/run/x.pid"});
    };
    EXPECT_EQ(4321, pidFrom("4321")->getPidToStop());
    EXPECT_EQ(77, pidFrom(std::string("77\0junk", 7))->getPidToStop());
    EXPECT_EQ(2147483647, pidFrom("2147483647")->getPidToStop());
    for (const auto& [content, message] : std::vector<std::pair<std::string, std::wstring>>{
             {"", L"3 Zero-sized PID file '/run/x.pid'"},
             {"12345678901", L"3 Extra characters in PID file '/run/x.pid'"},
             {" 123", L"3 Illegal characters in PID file '/run/x.pid'"},
             {"2147483648", L"3 Illegal characters in PID file '/run/x.pid'"}}) {
        auto parameters = pidFrom(content);
        EXPECT_EQ(message, refusal(parameters)) << content;
        EXPECT_EQ(-1, parameters->getPidToStop());
    }
}

}  // namespace
