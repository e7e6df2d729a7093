#include "config/YamlParser.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "support/Catalogue.h"
#include "support/YamlDump.h"
#include "support/YamlTreeCheck.h"

namespace {

using namespace std::string_literals;

const std::string kNestedTree =
    "E \"launcher-parameters\" \"\"\n  E \"work-dir\" \"/w\"\n  E \"jvm-opts\" \"\"\n"
    "  S \"\" \"-Xmx1g\"\n  S \"\" \"-Dx=y\"\n  E \"banner\" \"\"\n    E \"en\" \"Hello\"\n";

// Input bytes against the tree (as YamlDump shows it) or the error and its offset. The
// oddities among them are how launcher.yml files have always been read; the texts of
// the errors are checked through the launcher.
TEST(YamlParserTest, ReadsEachLayoutIntoItsTreeOrItsError) {
    ScopedCatalogue english;
    struct Case {
        std::string input;
        std::string tree;
        const char* error = nullptr;
        int offset = 0;
    };
    const Case cases[] = {
        {"", ""},
        // One empty line is skipped, with CR LF and with LF line ends.
        {"launcher-parameters:\r\n  work-dir: /w\r\n\r\n  jvm-opts:\r\n  - -Xmx1g\r\n"
         "  - -Dx=y\r\n\r\n  banner:\r\n    en: Hello\r\n",
         kNestedTree},
        {"launcher-parameters:\n  work-dir: /w\n\n  jvm-opts:\n\n  - -Xmx1g\n  - -Dx=y\n"
         "  banner:\n    en: Hello\n",
         kNestedTree},
        // A second empty line, or the LF a comment leaves of CR LF, starts the next key.
        {"a: 1\n\n\nb: 2\n", "E \"a\" \"1\"\nE \"\\nb\" \"2\"\n"},
        {"# c\r\nb: x\r\n", "C \" c\"\nE \"\\nb\" \"x\"\n"},
        {"# c\n\nk: v\n", "C \" c\"\nE \"\\nk\" \"v\"\n"},
        {"- a: 1\n  b: 2\n", "S \" a\" \"1\"\n  E \"b\" \"2\"\n"},
        {"key: 'a b'\n", "E \"key\" \"'a b'\"\n"},
        {".a: b\n..: c\n", "E \".a\" \"b\"\nE \"..\" \"c\"\n"},
        {"key: value # note\n", "E \"key\" \"value\"\n  C \" note\"\n"},
        {"# top\nkey: v\n  # inner\n  k: w\n",
         "C \" top\"\nE \"key\" \"v\"\n  C \" inner\"\n  E \"k\" \"w\"\n"},
        {"a: b\n# c\n  d: e\n", "E \"a\" \"b\"\nC \" c\"\n  E \"d\" \"e\"\n"},
        // The first byte after the blanks is the value's, whatever it is.
        {"key: # note\n", "E \"key\" \"# note\"\n"},
        {"a: \nb: c\n", "E \"a\" \"b: c\"\n"},
        {"- a:\nb: c\n", "S \" a\" \"b: c\"\n"},
        {"a: ", "E \"a\" \"\\0\"\n"},
        {"\tkey: v\na:\n\tb: c\n", "E \"\\tkey\" \"v\"\nE \"a\" \"\"\nE \"\\tb\" \"c\"\n"},
        {"a: b\0c: d\n"s, "E \"a\" \"b\"\n"},
        {"---\n", "", "IDS_YAML_MULTIPLE_DOCS", 0},
        {"a:\n  --- x\n", "", "IDS_YAML_MULTIPLE_DOCS", 5},
        {"a:\tb\n", "", "IDS_YAML_KEY_EXPECTED", 4},
        {"ab#c: d\n", "", "IDS_YAML_KEY_EXPECTED", 2},
        {"-\n", "", "IDS_YAML_WRONG_STRUCTURE", 0},
        {"a:\n  b: c\n # x\n", "", "IDS_YAML_WRONG_INDENT", 15},
        {"  a: b\n", "", "IDS_YAML_WRONG_INDENT", 7},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.input));
        std::string buffer = withTerminator(c.input);
        try {
            EXPECT_EQ(c.tree, dumpYaml(*YamlParser::parse(buffer)));
            EXPECT_EQ(nullptr, c.error);
        } catch (const LauncherException& e) {
            EXPECT_EQ(LauncherException::kConfiguration, e.getCode());
            EXPECT_EQ(c.error ? formatMessage(c.error, L"launcher.yml", c.offset) : L"",
                      e.getMessage());
        }
    }
    for (std::string unterminated : {"a: b"s, "a: b\0\0\0"s, ""s}) {
        EXPECT_THROW(YamlParser::parse(unterminated), LauncherException);
    }
}

// Replays the inputs the fuzzer kept (fuzz/yaml-corpus at the top of the repository).
TEST(YamlParserTest, EveryFuzzInputParsesOrFailsCleanly) {
    ScopedCatalogue english;
    size_t replayed = 0;
    for (const auto& entry : std::filesystem::directory_iterator(
             std::filesystem::path(LAUNCHER_SOURCE_DIR) / "fuzz/yaml-corpus")) {
        std::ifstream in(entry.path(), std::ios::binary);
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        SCOPED_TRACE(entry.path().filename().string());
        // An exact-size block, so that a sanitizer build sees reads past the end.
        std::unique_ptr<char[]> buffer(new char[text.size() + 4]());
        text.copy(buffer.get(), text.size());
        try {
            auto root = YamlParser::parse(std::string_view(buffer.get(), text.size() + 4));
            EXPECT_EQ("", findYamlTreeFault(*root, buffer.get()));
        } catch (const LauncherException& e) {
            EXPECT_EQ(LauncherException::kConfiguration, e.getCode());
        }
        ++replayed;
    }
    EXPECT_GT(replayed, 0u);
}

}  // namespace
