#include "platform/LinuxSystemUtils.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <clocale>
#include <string>

#include "platform/LocalizationSupport.h"
#include "support/ProcessRunner.h"

namespace {

// Each locale is chosen in a child whose environment is set from scratch, the
// way a service manager starts the launcher. Without a locale the environment
// asks for, C would be chosen and the language under test would go untested:
// that is a broken test setup, not a pass.
TEST(LinuxSystemUtilsTest, LocaleChoosesTheCatalogue) {
    const char* const english = "en_US|en|en|Press Ctrl+C to exit.";
    const std::pair<const char*, std::string> cases[] = {
        {"C", std::string("C|") + english},
        {nullptr, std::string("C|") + english},
        {"ru_RU.UTF-8", "ru_RU.UTF-8|ru_RU|ru|ru|Нажмите Ctrl+C для завершения."},
        {"de_DE.UTF-8", "de_DE.UTF-8|de_DE|de|en|Press Ctrl+C to exit."},
    };
    for (const auto& [lang, expected] : cases) {
        ProcessRunner::Result result =
            ProcessRunner([lang = lang]() -> std::string {
                for (const char* name : {"LC_ALL", "LC_CTYPE", "LC_MESSAGES", "LANG", "LANGUAGE"}) {
                    unsetenv(name);
                }
                setenv("LOCPATH", LAUNCHER_TEST_LOCALE_DIR, 1);
                if (lang != nullptr) {
                    setenv("LANG", lang, 1);
                }
                // Copied at once: the next setlocale frees the name.
                const char* name = std::setlocale(LC_CTYPE, "");
                const std::string chosen = name != nullptr ? name : "(null)";
                LinuxSystemUtils system;
                // Asked directly, as another catalogue may be the current one.
                LocalizationSupport catalogue(system);
                return chosen + "|" +
                       toUtf8(system.getLocaleName() + L"|" + system.getLanguage() + L"|" +
                              catalogue.getLanguageCode() + L"|" +
                              catalogue.getMessage("IDS_STARTED_HEADER"));
            }).run();
        EXPECT_EQ(expected, result.out)
            << "is the " << (lang ? lang : "C") << " locale in " << LAUNCHER_TEST_LOCALE_DIR
            << "? scripts/test.sh builds it with localedef";
    }
}

TEST(LinuxSystemUtilsTest, MissingLibraryKeepsTheLoaderError) {
    LinuxSystemUtils system;
    std::shared_ptr<ILibraryHandle> missing = system.loadLibrary(L"/nonexistent/libnothing.so");
    EXPECT_TRUE(missing->isNull());
    EXPECT_EQ(
        L"/nonexistent/libnothing.so: cannot open shared object file: No "
        L"such file or directory",
        missing->getErrorText());
    EXPECT_EQ(nullptr, missing->getSymbol("cos"));
    EXPECT_FALSE(missing->close());
}

}  // namespace
