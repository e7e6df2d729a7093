#include "config/LauncherParameters.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "cli/LauncherCliArgs.h"
#include "config/LauncherConfig.h"
#include "config/ServiceInstanceParameters.h"
#include "discovery/IJavaFinder.h"
#include "discovery/JavaLibResolver.h"
#include "fakes/FakeConsole.h"
#include "fakes/FakeOsUtilsFactory.h"
#include "support/Catalogue.h"

// The merge where the launcher itself cannot be run: with the service ini file
// under /etc, a locale and a Java finder of the test's choosing.
namespace {

// Finds nothing, and remembers being asked.
class FakeJavaFinder : public IJavaFinder {
  public:
    FoundJavaHome findJavaHome(int minimalVersion) override {
        askedFor.push_back(minimalVersion);
        return {};
    }
    const std::wstring& getLastError() const override { return none; }

    std::wstring none;
    std::vector<int> askedFor;
};

TEST(LauncherParametersTest, IniFileLocaleAndFinderHaveTheirTurns) {
    ScopedCatalogue english;
    FakeOsUtilsFactory os;
    FakeJavaFinder finder;
    JavaLibResolver resolver(os);
    os.files.addDirectory(L"/srv/inst");
    for (const wchar_t* home : {L"/yml/jdk", L"/ini/jdk"}) {
        os.files.addFile(std::wstring(home) + L"/lib/server/libjvm.so");
    }
    // The instance /srv/inst of the service "svc".
    auto start = [&](const std::string& yml, const std::string& ini = "",
                     std::vector<std::wstring> args = {L"--jclasspath", L"/app/*.jar",
                                                       L"--jifaceclass", L"app.Main"}) {
        args.insert(args.begin(), {L"launcher", L"start", L"--instance", L"/srv/inst"});
        os.files.addFile(L"/srv/inst/launcher.yml", "launcher-parameters:\n" + yml);
        os.files.addFile(L"/etc/default/Orvik/Tamsel/svc", ini);
        auto cli = LauncherCliArgs::create(os, args);
        const LauncherConfig config = LauncherConfig::readLauncherConfig(os, L"/srv/inst", true);
        ServiceInstanceParameters service(os, L"svc");
        service.read();
        FakeConsole console(os.consoleText);
        return std::make_unique<LauncherParameters>(os, console, *cli, config, service, finder,
                                                    resolver);
    };
    // The Java home of launcher.yml, then of the ini file; the finder is not asked.
    EXPECT_EQ(L"/yml/jdk", start("  java-home: /yml/jdk\n", "JAVA_HOME=/ini/jdk\n")->getJavaHome());
    EXPECT_EQ(L"/ini/jdk", start("", "JAVA_HOME=/ini/jdk\n")->getJavaHome());
    EXPECT_TRUE(finder.askedFor.empty());
    // Nothing found is one more problem, reported with the code of the first.
    auto refused = start("", "", {});
    EXPECT_EQ(
        L"1 Neither --jclasspath nor --jmodulepath is set.\nOption --jifaceclass value is "
        L"not set\nCannot guess JAVA_HOME, it is not set explicitly, neither Orvik "
        L"Inventory nor environment variable contains a suitable Java version.",
        std::to_wstring(refused->getExitCode()) + L" " + refused->getMessageText());

    // The options of the ini file come between those of launcher.yml and the environment.
    os.process.environment[L"JVM_OPTS"] = L"-Denv=1";
    EXPECT_EQ((std::vector<std::wstring>{L"-Dyml=1", L"-Dini=1", L"-Dspaced=a b", L"-Denv=1",
                                         L"-Dinstance.root=/srv/inst"}),
              start("  java-home: /yml/jdk\n  jvm-opts:\n  - -Dyml=1\n",
                    "JAVA_OPT=-Dini=1\nJAVA_OPT=-Dspaced=a b\n")
                  ->getJvmOptions());

    // The banner of the locale's name, else of its language, else the default one.
    const std::pair<const wchar_t*, const wchar_t*> banners[] = {
        {L"de_AT", L"Servus"}, {L"de_DE", L"Hallo"}, {L"fr_FR", L"Hello"}};
    for (const auto& [locale, banner] : banners) {
        os.system.localeName = locale;
        os.system.language = std::wstring(locale).substr(0, 2);
        EXPECT_EQ(banner, start("  java-home: /yml/jdk\n  banner:\n    default: Hello\n    de: "
                                "Hallo\n    de_AT: Servus\n")
                              ->getUserStartupMessage());
    }
}

}  // namespace
