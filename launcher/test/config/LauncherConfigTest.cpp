#include "config/LauncherConfig.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "fakes/FakeOsUtilsFactory.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LinuxFileLogger.h"
#include "platform/LocalizationSupport.h"
#include "support/Catalogue.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

namespace {

const std::wstring kInstance = L"/srv/inst";
const std::wstring kFile = L"/srv/inst/launcher.yml";

class LauncherConfigTest : public ::testing::Test {
  protected:
    // The fake process runs /opt/launcher/bin/launcher as PID 4242.
    LauncherConfigTest() { os.process.environment[L"PATH"] = L"/usr/bin:/bin"; }

    LauncherConfig read(const std::string& yml) {
        os.files.addFile(kFile, yml);
        return LauncherConfig::readLauncherConfig(os, kInstance, true);
    }

    std::wstring expand(const std::wstring& value,
                        const std::wstring& instanceDirectory = L"/srv/inst") {
        return LauncherConfig::expandPlaceholders(os, value, instanceDirectory, kFile);
    }

    ScopedCatalogue english;
    FakeOsUtilsFactory os;
};

// A sample of the getters: an empty configuration reports nothing anywhere.
void expectEmpty(const LauncherConfig& config) {
    EXPECT_FALSE(config.isFileRead());
    EXPECT_FALSE(config.getWorkDir().hasValue());
    EXPECT_FALSE(config.getMainClass().hasValue());
    EXPECT_TRUE(config.getJvmOpts().empty());
    EXPECT_TRUE(config.getBanners().empty());
    EXPECT_EQ(8, config.getMinimalJavaVersion());
}

TEST_F(LauncherConfigTest, ReadsNothingWithoutInstanceOutsideStartModeOrWithoutFile) {
    os.files.addFile(kFile, "launcher-parameters:\n  work-dir: /w\n");

    LauncherConfig noInstance = LauncherConfig::readLauncherConfig(os, L"", true);
    expectEmpty(noInstance);
    EXPECT_EQ(L"", noInstance.getFileName());

    expectEmpty(LauncherConfig::readLauncherConfig(os, kInstance, false));

    LauncherConfig absent = LauncherConfig::readLauncherConfig(os, L"/srv/other", true);
    expectEmpty(absent);
    EXPECT_EQ(L"/srv/other/launcher.yml", absent.getFileName());
    EXPECT_FALSE(absent.hasError());
    EXPECT_EQ(0, absent.getErrorCode());
}

TEST_F(LauncherConfigTest, ReadsEveryKeyOfTheSchema) {
    LauncherConfig config = read(
        "launcher-parameters:\n"
        "  work-dir: /w\n"
        "  service-name: svc\n"
        "  java-home: /j\n"
        "  pid-file: /run/a.pid\n"
        "  log-file: /log/a.log\n"
        "  class-path: lib/*.jar\n"
        "  module-path: mods\n"
        "  main-class: org.example.Main # the contract\n"
        "  daemon: true\n"
        "  quiet: true\n"
        "  minimal-java-version: 11\n"
        "  # options in file order\n"
        "  jvm-opts:\n"
        "  - -Xmx1g\n"
        "  - -Dtext=a b\n"
        "  work-dir: swallowed\n"
        "  main-class-args:\n"
        "  - one\n"
        "  - two\n"
        "  pid-file: swallowed\n"
        "  banner:\n"
        "    en: Hello\n"
        "    ru: \xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82\n");

    ASSERT_FALSE(config.hasError()) << config.getErrorText();
    EXPECT_TRUE(config.isFileRead());
    EXPECT_EQ(kFile, config.getFileName());
    EXPECT_EQ(L"/w", config.getWorkDir().value());
    EXPECT_EQ(L"svc", config.getServiceName().value());
    EXPECT_EQ(L"/j", config.getJavaHome().value());
    EXPECT_EQ(L"/run/a.pid", config.getPidFile().value());
    EXPECT_EQ(L"/log/a.log", config.getLogFile().value());
    EXPECT_EQ(L"lib/*.jar", config.getClassPath().value());
    EXPECT_EQ(L"mods", config.getModulePath().value());
    EXPECT_EQ(L"org.example.Main", config.getMainClass().value());
    EXPECT_TRUE(config.isQuiet());
    EXPECT_EQ(11, config.getMinimalJavaVersion());
    EXPECT_EQ((std::vector<std::wstring>{L"-Xmx1g", L"-Dtext=a b"}), config.getJvmOpts());
    EXPECT_EQ((std::vector<std::wstring>{L"one", L"two"}), config.getMainClassArgs());
    EXPECT_EQ((std::map<std::wstring, std::wstring>{{L"en", L"Hello"}, {L"ru", L"Привет"}}),
              config.getBanners());
}

TEST_F(LauncherConfigTest, ListKeysSwallowTheEntryThatEndsThemAndBannerEndsTheWalk) {
    // Items indented below the key are its children, not its items.
    LauncherConfig indented = read(
        "launcher-parameters:\n"
        "  jvm-opts:\n"
        "    - -Xmx1g\n"
        "  work-dir: /w\n"
        "  pid-file: /p\n");
    EXPECT_TRUE(indented.getJvmOpts().empty());
    EXPECT_FALSE(indented.getWorkDir().hasValue());
    EXPECT_EQ(L"/p", indented.getPidFile().value());

    // A list key followed directly by another entry swallows it; repeated list
    // keys add to the same list.
    LauncherConfig direct = read(
        "launcher-parameters:\n"
        "  main-class-args:\n"
        "  bogus-key: never checked\n"
        "  main-class-args:\n"
        "  - a\n"
        "  main-class: M\n"
        "  main-class-args:\n"
        "  - b\n");
    ASSERT_FALSE(direct.hasError()) << direct.getErrorText();
    EXPECT_EQ((std::vector<std::wstring>{L"a", L"b"}), direct.getMainClassArgs());
    EXPECT_FALSE(direct.getMainClass().hasValue());

    LauncherConfig afterBanner = read(
        "launcher-parameters:\n"
        "  work-dir: first\n"
        "  work-dir: second\n"
        "  banner:\n"
        "    default: Hi\n"
        "  pid-file: /p\n"
        "  bogus-key: never checked\n");
    ASSERT_FALSE(afterBanner.hasError()) << afterBanner.getErrorText();
    EXPECT_EQ(L"second", afterBanner.getWorkDir().value());
    EXPECT_FALSE(afterBanner.getPidFile().hasValue());
    EXPECT_EQ(L"Hi", afterBanner.getBanners().at(L"default"));
}

TEST_F(LauncherConfigTest, QuietOnlyForLowerCaseTrue) {
    EXPECT_TRUE(read("launcher-parameters:\n  quiet: true\n").isQuiet());
    EXPECT_FALSE(read("launcher-parameters:\n  quiet: True\n").isQuiet());
    EXPECT_FALSE(read("launcher-parameters:\n  quiet: yes\n").isQuiet());
}

TEST_F(LauncherConfigTest, MinimalJavaVersionFrom8To65535) {
    const std::pair<const char*, int> accepted[] = {
        {"8", 8}, {"11", 11}, {"+17", 17}, {"65535", 65535}};
    for (const auto& [text, version] : accepted) {
        SCOPED_TRACE(text);
        LauncherConfig config =
            read(std::string("launcher-parameters:\n  minimal-java-version: ") + text + "\n");
        ASSERT_FALSE(config.hasError()) << config.getErrorText();
        EXPECT_EQ(version, config.getMinimalJavaVersion());
    }
    for (const char* text : {"7", "-11", "65536", "11a", "eleven", "99999999999999999999"}) {
        SCOPED_TRACE(text);
        LauncherConfig config =
            read(std::string("launcher-parameters:\n  minimal-java-version: ") + text + "\n");
        EXPECT_EQ(formatMessage("IDS_FILE_FORMAT_UNKNOWN_JAVA_VERSION", kFile, toWide(text)),
                  config.getErrorText());
        EXPECT_EQ(LauncherException::kConfiguration, config.getErrorCode());
        EXPECT_EQ(8, config.getMinimalJavaVersion());
    }
}

TEST_F(LauncherConfigTest, KeepsTheErrorOfABadFileAndNothingElse) {
    struct Case {
        const char* name;
        std::string yml;
        std::wstring error;
    };
    const Case cases[] = {
        {"empty document", "", formatMessage("IDS_FILE_FORMAT_UNKNOWN_FIELD", kFile, L"root")},
        {"other top-level key", "settings:\n  work-dir: /w\n",
         formatMessage("IDS_FILE_FORMAT_UNKNOWN_FIELD", kFile, L"settings")},
        {"comment before the top-level key", "# c\nlauncher-parameters:\n",
         formatMessage("IDS_FILE_FORMAT_UNKNOWN_FIELD", kFile, L"")},
        {"unknown key", "launcher-parameters:\n  work-dir: /w\n  workdir: /w\n",
         formatMessage("IDS_FILE_FORMAT_UNKNOWN_FIELD", kFile, L"workdir")},
        {"sequence item among the keys", "launcher-parameters:\n  - work-dir: /w\n",
         formatMessage("IDS_FILE_FORMAT_WRONG_STRUCTURE", kFile)},
        {"comment inside a list", "launcher-parameters:\n  jvm-opts:\n  - a\n  # c\n  - b\n",
         formatMessage("IDS_FILE_FORMAT_WRONG_STRUCTURE", kFile)},
        {"comment among the banners", "launcher-parameters:\n  banner:\n    # c\n    en: x\n",
         formatMessage("IDS_FILE_FORMAT_WRONG_STRUCTURE", kFile)},
        {"sequence item among the banners", "launcher-parameters:\n  banner:\n    - en\n",
         formatMessage("IDS_FILE_FORMAT_WRONG_STRUCTURE", kFile)},
        {"syntax error", "launcher-parameters:\n  work-dir:/w\n",
         formatMessage("IDS_YAML_KEY_EXPECTED", 34)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        LauncherConfig config = read(c.yml);
        EXPECT_EQ(c.error, config.getErrorText());
        EXPECT_EQ(LauncherException::kConfiguration, config.getErrorCode());
        EXPECT_EQ(kFile, config.getFileName());
        expectEmpty(config);
    }

    os.files.failOn(kFile);
    LauncherConfig unreadable = LauncherConfig::readLauncherConfig(os, kInstance, true);
    EXPECT_EQ(formatMessage("IDS_FILE_READ_ERROR", kFile, L"(13) Permission denied"),
              unreadable.getErrorText());
    EXPECT_EQ(LauncherException::kOs, unreadable.getErrorCode());
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

TEST_F(LauncherConfigTest, InstanceRootWithoutInstanceFails) {
    os.files.addFile(kFile, "launcher-parameters:\n  work-dir: ${instance.root}/w\n");
    try {
        LauncherConfig::readFile(os, kFile, L"");
        FAIL() << "no error";
    } catch (const LauncherException& e) {
        EXPECT_EQ(
            L"Error reading file '/srv/inst/launcher.yml'. Launcher has no --instance "
            L"parameter but config file has a reference to it '${instance.root}/w'.",
            e.getMessage());
        EXPECT_EQ(LauncherException::kConfiguration, e.getCode());
    }
}

// The configuration as the launcher meets it: a real instance directory.
TEST(LauncherConfigFileTest, ReadsAnInstanceDirectory) {
    ScopedCatalogue english;
    TempDir instance;
    instance.write("launcher.yml",
                   "launcher-parameters:\r\n"
                   "  class-path: ${launcher.dir}/lib/*.jar\r\n"
                   "  work-dir: ${instance.root}/work\r\n"
                   "\r\n"
                   "  jvm-opts:\r\n"
                   "  - -Dpid=${launcher.pid}\r\n");
    IOsUtilsFactory& os = getOsUtilsFactory();

    LauncherConfig config = LauncherConfig::readLauncherConfig(os, instance.wpath(), true);

    ASSERT_FALSE(config.hasError()) << config.getErrorText();
    std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(exe.parent_path().wstring() + L"/lib/*.jar", config.getClassPath().value());
    EXPECT_EQ(instance.wpath() + L"/work", config.getWorkDir().value());
    EXPECT_EQ(std::vector<std::wstring>{L"-Dpid=" + std::to_wstring(getpid())},
              config.getJvmOpts());
}

// What logState wrote, read back from a real log file.
std::vector<LogLine> logStateLines(const LauncherConfig& config) {
    TempDir dir;
    auto logger = std::make_unique<LinuxFileLogger>(dir.wpath("launcher.log"), 77);
    config.logState(*logger);
    logger.reset();
    return parseLogLines(readWholeFile(dir.path("launcher.log")));
}

TEST_F(LauncherConfigTest, LogsWhatWasRead) {
    LauncherConfig config = read(
        "launcher-parameters:\n"
        "  quiet: true\n"
        "  work-dir: /w\n"
        "  main-class: a=b\n"
        "  minimal-java-version: 17\n"
        "  jvm-opts:\n"
        "  - -Xmx1g\n"
        "  - -Da=b\n");
    ASSERT_FALSE(config.hasError()) << config.getErrorText();

    std::vector<LogLine> lines = logStateLines(config);

    ASSERT_EQ(4u, lines.size());
    for (const LogLine& line : lines) {
        EXPECT_EQ("INFO", line.level);
        EXPECT_EQ("LauncherConfig", line.className);
        EXPECT_EQ("logState", line.function);
        EXPECT_EQ("LauncherConfig.cpp", line.file);
    }
    EXPECT_EQ(
        "Launcher parameters file read: fileName=/srv/inst/launcher.yml, work-dir=/w, "
        "main-class='a=b', quiet=true",
        lines[0].message);
    EXPECT_EQ("Java parameters: minimalJavaVersion=17", lines[1].message);
    EXPECT_EQ("JVM options: options='-Xmx1g, -Da=b'", lines[2].message);
    EXPECT_EQ("main class arguments: options=empty", lines[3].message);
}

TEST_F(LauncherConfigTest, LogsAMissingOrBrokenFile) {
    std::vector<LogLine> none =
        logStateLines(LauncherConfig::readLauncherConfig(os, L"/srv/none", true));
    ASSERT_EQ(1u, none.size());
    EXPECT_EQ("No launcher parameters file read. fileName=/srv/none/launcher.yml", none[0].message);

    std::vector<LogLine> broken = logStateLines(read("other: x\n"));
    ASSERT_EQ(1u, broken.size());
    EXPECT_EQ("ERROR", broken[0].level);
    EXPECT_EQ(
        "Cannot read file errors=\"Error reading file '/srv/inst/launcher.yml'. Unknown field "
        "'other'.\", fileName=/srv/inst/launcher.yml",
        broken[0].message);
}

}  // namespace
