#include "platform/LocalizationSupport.h"

#include <gtest/gtest.h>

#include "fakes/FakeSystemUtils.h"
#include "platform/LauncherException.h"
#include "support/Catalogue.h"

namespace {

TEST(LocalizationSupportTest, GetTextBeforeAnyCatalogueIsAnInternalError) {
    try {
        LocalizationSupport::getText("IDS_NORMAL_EXIT");
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(21, e.getCode());
        EXPECT_EQ(L"LocalizationSupport was not initialized.", e.getMessage());
    }
}

TEST(LocalizationSupportTest, LocaleNameWinsOverLanguageAndUnknownFallsBackToEnglish) {
    FakeSystemUtils russianByLanguage(L"ru_RU", L"ru");
    EXPECT_EQ(L"ru", LocalizationSupport(russianByLanguage).getLanguageCode());
    FakeSystemUtils german(L"de_DE", L"de");
    EXPECT_EQ(L"en", LocalizationSupport(german).getLanguageCode());
    // A locale name that is itself a language code is matched first.
    FakeSystemUtils odd(L"ru", L"en");
    EXPECT_EQ(L"ru", LocalizationSupport(odd).getLanguageCode());
}

TEST(LocalizationSupportTest, UnknownIdsPrintAsTheirOwnNames) {
    ScopedCatalogue english;
    EXPECT_EQ(L"IDS_UNKNOWN_MODE", LocalizationSupport::getText("IDS_UNKNOWN_MODE"));
    EXPECT_EQ(L"IDS_CWD_CHANGED_TO", LocalizationSupport::getText("IDS_CWD_CHANGED_TO"));
    EXPECT_EQ(L"Normal exit", LocalizationSupport::getText("IDS_NORMAL_EXIT"));
}

TEST(LocalizationSupportTest, FormatFillsSlotsInOrder) {
    ScopedCatalogue english;
    EXPECT_EQ(L"Mutually exclusive CLI arguments --pid and --pidfile are set",
              formatMessage("IDS_OPTS_MUT_EX_MET", L"--pid", std::wstring(L"--pidfile")));
    EXPECT_EQ(L"Launcher with PID=2147483647 stopped gracefully",
              formatMessage("IDS_LAUNCHER_STOPPED_GRACEFULLY", 2147483647));
    EXPECT_EQ(L"Launcher with PID=-2147483648 was forced to stop",
              formatMessage("IDS_LAUNCHER_KILLED", -2147483647 - 1));
}

TEST(LocalizationSupportTest, IntegerInTextSlotIsPrintedAsNumber) {
    ScopedCatalogue english;
    EXPECT_EQ(
        L"Cannot create JVM 17 instance with library '/j/libjvm.so'. Error -4: not enough "
        L"memory",
        formatMessage("IDS_CANNOT_CREATE_JVM_INSTANCE", 17, L"/j/libjvm.so", -4,
                      L"not enough memory"));
}

TEST(LocalizationSupportTest, UnknownIdIsFormattedAsItsName) {
    ScopedCatalogue english;
    EXPECT_EQ(L"IDS_INVENTORY_CALL_ERROR", formatMessage("IDS_INVENTORY_CALL_ERROR", L"boom"));
}

TEST(LocalizationSupportTest, LanguageFromJvmOptions) {
    EXPECT_EQ(L"ru", languageFromJvmOptions({L"-Duser.language=RU -Xmx1g"}));
    EXPECT_EQ(L"en", languageFromJvmOptions({L"-Xmx1g", L"x-Duser.language=en"}));
    EXPECT_EQ(L"de", languageFromJvmOptions({L"-Duser.language=De", L"-Duser.language=ru"}));
    EXPECT_EQ(L"", languageFromJvmOptions({L"-Xmx1g"}));
    EXPECT_EQ(L"", languageFromJvmOptions({L"-Duser.language="}));
    EXPECT_EQ(L"", languageFromJvmOptions({}));
    // Lower-casing only knows single bytes: a character above U+00FF keeps its low byte.
    EXPECT_EQ(std::wstring(1, L'a'), languageFromJvmOptions({L"-Duser.language=\u0141"}));
}

}  // namespace
