#include "config/YamlParser.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "support/Catalogue.h"
#include "support/YamlDump.h"

namespace {

using namespace std::string_literals;

struct TreeCase {
    const char* name;
    std::string input;
    std::string tree;
};

struct ErrorCase {
    const char* name;
    std::string input;
    const char* messageId;
    int offset;
};

std::string parseToDump(const std::string& text) {
    std::string buffer = withTerminator(text);
    return dumpYaml(*YamlParser::parse(buffer));
}

const std::string kNestedLf =
    "launcher-parameters:\n"
    "  work-dir: /w\n"
    "  jvm-opts:\n"
    "  - -Xmx1g\n"
    "  - -Dx=y\n"
    "  banner:\n"
    "    en: Hello\n";

const std::string kNestedTree =
    "E \"launcher-parameters\" \"\"\n"
    "  E \"work-dir\" \"/w\"\n"
    "  E \"jvm-opts\" \"\"\n"
    "  S \"\" \"-Xmx1g\"\n"
    "  S \"\" \"-Dx=y\"\n"
    "  E \"banner\" \"\"\n"
    "    E \"en\" \"Hello\"\n";

// The oddities among them are how launcher.yml files have always been read.
TEST(YamlParserTest, BuildsTheTreeOfEachLayout) {
    const TreeCase cases[] = {
        {"empty file", "", ""},
        {"nested mappings and sequences", kNestedLf, kNestedTree},
        {"CR LF line ends with one empty line",
         "launcher-parameters:\r\n  work-dir: /w\r\n\r\n  jvm-opts:\r\n  - -Xmx1g\r\n"
         "  - -Dx=y\r\n\r\n  banner:\r\n    en: Hello\r\n",
         kNestedTree},
        {"LF line ends with one empty line",
         "launcher-parameters:\n  work-dir: /w\n\n  jvm-opts:\n\n  - -Xmx1g\n  - -Dx=y\n"
         "  banner:\n    en: Hello\n",
         kNestedTree},
        {"dedent to any open level", "a:\n  b:\n    c: d\n  e: f\ng: h\n",
         "E \"a\" \"\"\n  E \"b\" \"\"\n    E \"c\" \"d\"\n  E \"e\" \"f\"\nE \"g\" \"h\"\n"},
        {"mapping inside a sequence item", "- a: 1\n  b: 2\n", "S \" a\" \"1\"\n  E \"b\" \"2\"\n"},
        {"quotes are ordinary characters", "key: 'a b'\n", "E \"key\" \"'a b'\"\n"},
        {"entry without value on the last line", "key:\n", "E \"key\" \"\"\n"},
        {"dots that are not a document end", ".a: b\n..: c\n", "E \".a\" \"b\"\nE \"..\" \"c\"\n"},
        {"comment after a value", "key: value # note\n", "E \"key\" \"value\"\n  C \" note\"\n"},
        {"hash right after the blank is the value", "key: # note\n", "E \"key\" \"# note\"\n"},
        {"comment after a sequence item", "- item # c\n", "S \"\" \"item\"\n  C \" c\"\n"},
        {"comment lines", "# top\nkey: v\n  # inner\n  k: w\n",
         "C \" top\"\nE \"key\" \"v\"\n  C \" inner\"\n  E \"k\" \"w\"\n"},
        {"a comment line can be a parent", "a: b\n# c\n  d: e\n",
         "E \"a\" \"b\"\nC \" c\"\n  E \"d\" \"e\"\n"},
        {"blank after colon swallows the next line", "a: \nb: c\n", "E \"a\" \"b: c\"\n"},
        {"several blanks after colon swallow it too", "a:   \nb: c\nd: e\n",
         "E \"a\" \"b: c\"\nE \"d\" \"e\"\n"},
        {"tab is part of the key", "\tkey: v\na:\n\tb: c\n",
         "E \"\\tkey\" \"v\"\nE \"a\" \"\"\nE \"\\tb\" \"c\"\n"},
        {"sequence entry keeps its blank", "- name: x\n", "S \" name\" \"x\"\n"},
        {"sequence entry without value swallows the next line", "- a:\nb: c\n",
         "S \" a\" \"b: c\"\n"},
        {"second empty line starts the next key", "a: 1\n\n\nb: 2\n",
         "E \"a\" \"1\"\nE \"\\nb\" \"2\"\n"},
        {"LF left over by a CR LF comment starts the next key", "# c\r\nb: x\r\n",
         "C \" c\"\nE \"\\nb\" \"x\"\n"},
        {"empty line after a comment starts the next key", "# c\n\nk: v\n",
         "C \" c\"\nE \"\\nk\" \"v\"\n"},
        {"value that starts at the terminator holds it", "a: ", "E \"a\" \"\\0\"\n"},
        {"parsing stops at the first NUL", "a: b\0c: d\n"s, "E \"a\" \"b\"\n"},
    };
    for (const TreeCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.tree, parseToDump(c.input));
    }
}

TEST(YamlParserTest, RejectsWithTheOffsetOfTheError) {
    ScopedCatalogue english;
    const ErrorCase cases[] = {
        {"document start", "---\n", "IDS_YAML_MULTIPLE_DOCS", 0},
        {"indented document start", "a:\n  ---\n", "IDS_YAML_MULTIPLE_DOCS", 5},
        {"document end", "a: b\n...\n", "IDS_YAML_MULTIPLE_DOCS", 5},
        {"no blank after colon", "key:value\n", "IDS_YAML_KEY_EXPECTED", 9},
        {"no blank after colon at the end", "key:value", "IDS_YAML_KEY_EXPECTED", 9},
        {"colon at the very end", "key:", "IDS_YAML_KEY_EXPECTED", 4},
        {"tab after colon", "a:\tb\n", "IDS_YAML_KEY_EXPECTED", 4},
        {"hash inside a key", "ab#c: d\n", "IDS_YAML_KEY_EXPECTED", 2},
        {"hyphen without blank", "a:\n  -item\n", "IDS_YAML_WRONG_STRUCTURE", 5},
        {"lone hyphen", "-\n", "IDS_YAML_WRONG_STRUCTURE", 0},
        {"two hyphens", "--x\n", "IDS_YAML_WRONG_STRUCTURE", 0},
        {"dedent to no open level", "a:\n  b: c\n c: d\n", "IDS_YAML_WRONG_INDENT", 16},
        {"comment dedented to no open level", "a:\n  b: c\n # x\n", "IDS_YAML_WRONG_INDENT", 15},
        {"indented first line", "  a: b\n", "IDS_YAML_WRONG_INDENT", 7},
        {"indented only line without line end", "  a: b", "IDS_YAML_WRONG_INDENT", 7},
    };
    for (const ErrorCase& c : cases) {
        SCOPED_TRACE(c.name);
        std::string buffer = withTerminator(c.input);
        try {
            YamlParser::parse(buffer);
            ADD_FAILURE() << "no error";
        } catch (const LauncherException& e) {
            EXPECT_EQ(LauncherException::kConfiguration, e.getCode());
            EXPECT_EQ(formatMessage(c.messageId, c.offset), e.getMessage());
        }
    }
    EXPECT_EQ(L"Error parsing launcher.yml: key expected. Error at file offset 9.",
              formatMessage("IDS_YAML_KEY_EXPECTED", 9));
}

TEST(YamlParserTest, RefusesABufferWithoutItsTerminator) {
    for (std::string buffer : {"a: b"s, "a: b\0\0\0"s, ""s}) {
        try {
            YamlParser::parse(buffer);
            ADD_FAILURE() << "accepted";
        } catch (const LauncherException& e) {
            EXPECT_EQ(LauncherException::kInternal, e.getCode());
        }
    }
}

}  // namespace
