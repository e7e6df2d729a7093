#include "entry/CliParser.h"

#include <gtest/gtest.h>

#include <memory>

#include "entry/CliHelpSwitch.h"
#include "entry/CliSwitch.h"
#include "entry/CliVersionSwitch.h"
#include "support/Catalogue.h"

namespace {

// A command line of the launcher's shape: a default "help" mode naming the
// others, a "run" mode with every kind of entry, an "idle" mode with none.
class CliParserTest : public ::testing::Test {
  protected:
    CliParserTest() {
        auto version = std::make_shared<CliVersionSwitch>(
            std::vector<std::wstring>{L"--version", L"-v"}, L"show version");
        auto help = std::make_shared<CliHelpSwitch>(
            std::vector<std::wstring>{L"--help", L"-?", L"-h"}, L"show help");

        CliMode helpMode(L"help", L" help [options]", L"Show usage.");
        helpMode.add(version);
        helpMode.add(help);
        helpMode.add(std::make_shared<CliHelpSwitch>(std::vector<std::wstring>{L"run"},
                                                     L"Run something.", L"run"));
        CliMode runMode(L"run", L" run [options]", L"Run something.");
        runMode.add(version);
        runMode.add(help);
        runMode.add(std::make_shared<CliSwitch>(CliSwitch::flag(L"--fast", L"Go fast")));
        runMode.add(std::make_shared<CliSwitch>(
            CliSwitch::option(L"--file", L"/path/to/file", L"Where to write")));
        runMode.add(std::make_shared<CliSwitch>(
            CliSwitch::repeatable(L"--opt", L"word", L"An option; may repeat")));
        CliMode idleMode(L"idle", L" idle", L"Do nothing.");

        parser.addMode(std::move(helpMode));
        parser.addMode(std::move(runMode));
        parser.addMode(std::move(idleMode));
    }

    CliParseResult parse(std::vector<std::wstring> args) { return parser.parse(args); }

    ScopedCatalogue english;
    CliParser parser;
};

TEST_F(CliParserTest, FirstWordChoosesTheModeAndAnUnknownWordIsRefused) {
    EXPECT_EQ(L"help", parse({}).getModeName());
    EXPECT_EQ(L"run", parse({L"run"}).getModeName());
    EXPECT_EQ(L"idle", parse({L"idle"}).getModeName());

    CliParseResult unknown = parse({L"jog", L"--fast"});
    ASSERT_EQ(1u, unknown.getErrors().size());
    EXPECT_EQ(L"Unknown mode 'jog'", unknown.getErrors()[0]);

    // An option first means the default mode, whose entries then apply.
    CliParseResult optionFirst = parse({L"--fast"});
    EXPECT_EQ(L"help", optionFirst.getModeName());
    ASSERT_EQ(1u, optionFirst.getErrors().size());
    EXPECT_EQ(L"Unexpected CLI arguments: --fast", optionFirst.getErrors()[0]);
}

TEST_F(CliParserTest, OptionValueIsTheNextArgumentWhateverItLooksLikeOrFollowsEquals) {
    CliParseResult result = parse({L"run", L"--opt", L"-Xmx1g", L"--file", L"--fast",
                                   L"--opt=-Da=b=c", L"--opt", L"-Dinstance.root=/x", L"--opt="});
    EXPECT_FALSE(result.hasError());
    EXPECT_EQ(L"--fast", result.getValue(L"--file"));
    EXPECT_FALSE(result.has(L"--fast"));
    EXPECT_EQ((std::vector<std::wstring>{L"-Xmx1g", L"-Da=b=c", L"-Dinstance.root=/x", L""}),
              result.getValues(L"--opt"));
}

TEST_F(CliParserTest, RejectsMissingValuesDuplicatesAndStrayArguments) {
    // Said once per entry however often it is repeated; the first value stays.
    CliParseResult duplicated =
        parse({L"run", L"--file", L"a", L"--file=b", L"--fast", L"--fast", L"--file", L"c"});
    EXPECT_EQ((std::vector<std::wstring>{
                  L"--file can not be duplicated, only one occurrence is allowed",
                  L"--fast can not be duplicated, only one occurrence is allowed"}),
              duplicated.getErrors());
    EXPECT_EQ(L"a", duplicated.getValue(L"--file"));

    // Every stray argument is named in one message, after the other problems.
    CliParseResult stray = parse({L"run", L"extra", L"--file", L"a", L"run", L"--nope", L"--file"});
    EXPECT_EQ((std::vector<std::wstring>{
                  L"Option --file value is not set",
                  L"Unexpected CLI arguments: extra run --nope",
              }),
              stray.getErrors());

    // A switch takes no value, so "=" makes it an argument nobody expects.
    EXPECT_EQ(L"Unexpected CLI arguments: --fast=yes",
              parse({L"run", L"--fast=yes"}).getErrors().at(0));
}

TEST_F(CliParserTest, HelpAndVersionAreAnsweredInEveryModeAndOverrideErrors) {
    for (const wchar_t* help : {L"--help", L"-?", L"-h"}) {
        CliParseResult result = parse({L"run", L"--nope", help});
        EXPECT_FALSE(result.hasError()) << help;
        EXPECT_EQ(L"help", result.getModeName()) << help;
        EXPECT_TRUE(result.isHelpRequested()) << help;
        EXPECT_EQ(L"run", result.getHelpTopic()) << help;
    }
    EXPECT_EQ(L"help", parse({L"-h"}).getHelpTopic());
    EXPECT_EQ(L"run", parse({L"help", L"run"}).getHelpTopic());
    // A mode named outright wins over the help switch, in either order.
    EXPECT_EQ(L"run", parse({L"help", L"run", L"--help"}).getHelpTopic());
    EXPECT_EQ(L"run", parse({L"help", L"-h", L"run"}).getHelpTopic());
    // "help" alone is the default mode with no request for a topic.
    EXPECT_FALSE(parse({L"help"}).isHelpRequested());

    for (const wchar_t* version : {L"--version", L"-v"}) {
        CliParseResult result = parse({L"run", L"--file", L"x", version, version});
        EXPECT_FALSE(result.hasError()) << version;
        EXPECT_EQ(L"help", result.getModeName()) << version;
        EXPECT_TRUE(result.isVersionRequested()) << version;
    }
    // Only where the mode declares them: the empty mode knows neither.
    EXPECT_TRUE(parse({L"idle", L"--help"}).hasError());
    // As the value of an option it is just a value.
    CliParseResult asValue = parse({L"run", L"--file", L"--help"});
    EXPECT_FALSE(asValue.isHelpRequested());
    EXPECT_EQ(L"run", asValue.getModeName());
}

}  // namespace
