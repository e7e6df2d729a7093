#include "platform/LinuxProcessUtils.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "support/LauncherRunner.h"
#include "support/TempDir.h"

namespace {

// The launcher as a service manager starts it: nothing in the environment but
// LANG, or not even that. It echoes the arguments it does not expect, which shows
// how its command line was read; a locale neither English nor Russian gets English.
TEST(LinuxProcessUtilsTest, ArgumentsArriveWholeAndLangChoosesTheLanguage) {
    for (const char* locale : {"ru_RU.UTF-8", "de_DE.UTF-8"}) {
        ASSERT_TRUE(pathExists(std::string(LAUNCHER_TEST_LOCALE_DIR) + "/" + locale))
            << "without " << locale << " C would be chosen and the language go untested";
    }
    const std::string longOne = std::string(70000, 'c') + "end";
    const std::string echoed = ":  Привет, мир " + longOne + " last one \n";
    const std::pair<const char*, std::string> cases[] = {
        {"", "Unexpected CLI arguments" + echoed},
        {"de_DE.UTF-8", "Unexpected CLI arguments" + echoed},
        {"ru_RU.UTF-8", "Непредвиденные аргументы командной строки" + echoed}};
    for (const auto& [lang, expected] : cases) {
        ProcessRunner launcher =
            launcherRunner({"start", "", "Привет, мир", longOne, "last one", ""});
        // Of the runner's settings only the test locales stay.
        launcher.clearEnv().unsetEnv("LC_ALL");
        if (*lang != '\0') {
            launcher.env("LANG", lang);
        }
        EXPECT_EQ("1 " + expected, launcher.run().summary()) << lang;
    }
}

// A second or more is refused at once rather than slept: the wait loops only
// ever ask for short ticks.
TEST(LinuxProcessUtilsTest, SleepIsOneShortNanosleep) {
    LinuxProcessUtils process;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, process.sleep(30));
    for (long refused : {1000L, -1L, 9223372036854775807L}) {
        EXPECT_NE(0, process.sleep(refused)) << refused;
    }
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(took >= std::chrono::milliseconds(30) && took < std::chrono::milliseconds(500));
}

}  // namespace
