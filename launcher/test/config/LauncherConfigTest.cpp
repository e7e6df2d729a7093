#include "config/LauncherConfig.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "fakes/FakeOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LinuxFileLogger.h"
#include "platform/LocalizationSupport.h"
#include "support/Catalogue.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

namespace {

using Strings = std::vector<std::wstring>;
const std::wstring kInstance = L"/srv/inst";
const std::wstring kFile = L"/srv/inst/launcher.yml";

class LauncherConfigTest : public ::testing::Test {
  protected:
    // The fake process runs /opt/launcher/bin/launcher as PID 4242.
    LauncherConfigTest() { os.process.environment[L"PATH"] = L"/usr/bin:/bin"; }

    LauncherConfig read(const std::string& lines) {
        os.files.addFile(kFile, "launcher-parameters:\n" + lines);
        return LauncherConfig::readLauncherConfig(os, kInstance, true);
    }
    std::wstring expand(const std::wstring& value, const std::wstring& instance = kInstance) {
        return LauncherConfig::expandPlaceholders(os, value, instance, kFile);
    }

    ScopedCatalogue english;
    FakeOsUtilsFactory os;
};

// "LEVEL message" for each line logState wrote, read back from a real log file.
std::vector<std::string> logState(const LauncherConfig& config) {
    TempDir dir;
    auto logger = std::make_unique<LinuxFileLogger>(dir.wpath("launcher.log"), 77);
    config.logState(*logger);
    logger.reset();
    std::vector<std::string> lines;
    for (const LogLine& line : parseLogLines(readWholeFile(dir.path("launcher.log")))) {
        EXPECT_EQ("LauncherConfig logState", line.className + " " + line.function);
        lines.push_back(line.level + " " + line.message);
    }
    return lines;
}

TEST_F(LauncherConfigTest, ReadsAndLogsEveryKeyOfTheSchema) {
    LauncherConfig config = read(
        "  work-dir: /w\n  service-name: svc\n  java-home: /j\n  pid-file: /run/a.pid\n"
        "  log-file: /log/a.log\n  class-path: lib/*.jar\n  module-path: mods\n"
        "  main-class: a=b # the contract\n  daemon: true\n  quiet: true\n"
        "  minimal-java-version: 11\n  # options in file order\n  jvm-opts:\n  - -Xmx1g\n"
        "  - -Dtext=a b\n  work-dir: swallowed\n  main-class-args:\n  - one\n  - two\n"
        "  pid-file: swallowed\n  banner:\n    en: Hello\n    ru: Привет\n");
    ASSERT_FALSE(config.hasError()) << config.getErrorText();
    EXPECT_TRUE(config.isQuiet());
    EXPECT_EQ(L"svc", config.getServiceName().value());
    EXPECT_EQ((std::map<std::wstring, std::wstring>{{L"en", L"Hello"}, {L"ru", L"Привет"}}),
              config.getBanners());
    EXPECT_EQ((std::vector<std::string>{
                  "INFO Launcher parameters file read: fileName=/srv/inst/launcher.yml, "
                  "work-dir=/w, service-name=svc, java-home=/j, pid-file=/run/a.pid, "
                  "log-file=/log/a.log, class-path=lib/*.jar, module-path=mods, main-class='a=b', "
                  "daemon=true, quiet=true",
                  "INFO Java parameters: minimalJavaVersion=11",
                  "INFO JVM options: options='-Xmx1g, -Dtext=a b'",
                  "INFO main class arguments: options='one, two'"}),
              logState(config));
}

TEST_F(LauncherConfigTest, ReadsNothingOutsideStartModeOrWithoutInstanceOrFile) {
    os.files.addFile(kFile, "launcher-parameters:\n  work-dir: /w\n");
    for (const LauncherConfig& config :
         {LauncherConfig::readLauncherConfig(os, kInstance, false),
          LauncherConfig::readLauncherConfig(os, L"", true),
          LauncherConfig::readLauncherConfig(os, L"/srv/no", true)}) {
        EXPECT_FALSE(config.isFileRead() || config.hasError() || config.getWorkDir().hasValue());
    }
}

TEST_F(LauncherConfigTest, ListKeysSwallowTheEntryThatEndsThemAndBannerEndsTheWalk) {
    // Items indented below a list key are its children, not its items; a list key
    // followed directly by an entry swallows it; repeated list keys add to one list.
    LauncherConfig config = read(
        "  jvm-opts:\n    - -Xmx1g\n  work-dir: /w\n  pid-file: /p\n  main-class-args:\n"
        "  bogus-key: never checked\n  main-class-args:\n  - a\n  main-class: M\n"
        "  main-class-args:\n  - b\n  work-dir: first\n  work-dir: second\n  banner:\n"
        "    default: Hi\n  pid-file: /q\n  bogus-key: never checked\n");
    ASSERT_FALSE(config.hasError()) << config.getErrorText();
    EXPECT_TRUE(config.getJvmOpts().empty());
    EXPECT_EQ((Strings{L"a", L"b"}), config.getMainClassArgs());
    EXPECT_FALSE(config.getMainClass().hasValue());
    EXPECT_EQ((Strings{L"second", L"/p", L"Hi"}),
              (Strings{config.getWorkDir().value(), config.getPidFile().value(),
                       config.getBanners().at(L"default")}));
}

TEST_F(LauncherConfigTest, QuietIsLowerCaseTrueAndTheJavaVersionFrom8To65535) {
    EXPECT_FALSE(read("  quiet: True\n").isQuiet());
    EXPECT_FALSE(read("  quiet: yes\n").isQuiet());
    for (const auto& [text, version] :
         std::vector<std::pair<std::string, int>>{{"8", 8}, {"+17", 17}, {"65535", 65535}}) {
        EXPECT_EQ(version, read("  minimal-java-version: " + text + "\n").getMinimalJavaVersion());
    }
    for (const char* text : {"7", "-11", "65536", "11a", "eleven", "99999999999999999999"}) {
        LauncherConfig config = read(std::string("  minimal-java-version: ") + text + "\n");
        EXPECT_EQ(formatMessage("IDS_FILE_FORMAT_UNKNOWN_JAVA_VERSION", kFile, toWide(text)),
                  config.getErrorText());
        EXPECT_EQ(8, config.getMinimalJavaVersion());
    }
}

TEST_F(LauncherConfigTest, KeepsTheErrorOfABadFileAndNothingElse) {
    const std::string top = "launcher-parameters:\n";
    // The unknown field named, or none for a wrong structure.
    const std::pair<std::string, const wchar_t*> cases[] = {
        {"", L"root"},
        {"settings:\n  work-dir: /w\n", L"settings"},
        {"# c\n" + top, L""},
        {top + "  work-dir: /w\n  workdir: /w\n", L"workdir"},
        {top + "  - work-dir: /w\n", nullptr},
        {top + "  jvm-opts:\n  - a\n  # c\n", nullptr},
        {top + "  banner:\n    # c\n    en: x\n", nullptr},
        {top + "  banner:\n    - en\n", nullptr},
    };
    for (const auto& [yml, field] : cases) {
        os.files.addFile(kFile, yml);
        LauncherConfig config = LauncherConfig::readLauncherConfig(os, kInstance, true);
        EXPECT_EQ(field ? formatMessage("IDS_FILE_FORMAT_UNKNOWN_FIELD", kFile, field)
                        : formatMessage("IDS_FILE_FORMAT_WRONG_STRUCTURE", kFile),
                  config.getErrorText())
            << yml;
        EXPECT_EQ(LauncherException::kConfiguration, config.getErrorCode());
        EXPECT_FALSE(config.isFileRead() || config.getWorkDir().hasValue());
    }
    EXPECT_EQ(formatMessage("IDS_YAML_KEY_EXPECTED", 34), read("  work-dir:/w\n").getErrorText());

    os.files.failOn(kFile);
    LauncherConfig unreadable = LauncherConfig::readLauncherConfig(os, kInstance, true);
    EXPECT_EQ(LauncherException::kOs, unreadable.getErrorCode());
    EXPECT_EQ(std::vector<std::string>{"ERROR Cannot read file errors=\"Cannot read file "
                                       "'/srv/inst/launcher.yml'. Error: (13) Permission "
                                       "denied\", fileName=/srv/inst/launcher.yml"},
              logState(unreadable));
}

TEST_F(LauncherConfigTest, ExpandsEachPlaceholderEverywhere) {
    EXPECT_EQ(L"/srv/inst/a:/srv/inst/b", expand(L"${instance.root}/a:${instance.root}/b"));
    EXPECT_EQ(L"/usr/bin:/bin:/opt", expand(L"${env.path}:/opt"));
    EXPECT_EQ(L"/opt/launcher/bin/lib/*.jar", expand(L"${launcher.dir}/lib/*.jar"));
    EXPECT_EQ(L"app-4242.pid", expand(L"app-${launcher.pid}.pid"));
    EXPECT_EQ(L"3.10.5+8 x86-64", expand(L"${launcher.version} ${launcher.arch}"));
    EXPECT_EQ(L"${unknown} ${env.PATH} ${launcher.dir",
              expand(L"${unknown} ${env.PATH} ${launcher.dir"));
    os.process.environment.erase(L"PATH");
    EXPECT_EQ(L"[]", expand(L"[${env.path}]"));
}

TEST_F(LauncherConfigTest, ExpandsInTheFixedOrderAndRescansInsertedText) {
    // An earlier replacement can bring in a later placeholder, never the other way.
    EXPECT_EQ(L"/srv/4242/x", expand(L"${instance.root}/x", L"/srv/${launcher.pid}"));
    os.process.environment[L"PATH"] = L"${instance.root}";
    EXPECT_EQ(L"${instance.root}", expand(L"${env.path}"));
    // The search resumes where the text went in, so a placeholder the inserted
    // text completes is replaced too.
    os.process.environment[L"PATH"] = L"${env.";
    EXPECT_EQ(L"${env.", expand(L"${env.path}path}"));
    // A value holding its own placeholder still comes to an end.
    os.process.environment[L"PATH"] = L"[${env.path}]";
    EXPECT_EQ(L"[${env.path}]-[${env.path}]", expand(L"${env.path}-${env.path}"));
}

}  // namespace
