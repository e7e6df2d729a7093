#include "platform/LocalizationSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "fakes/FakeSystemUtils.h"
#include "platform/LocalizationResource_Root.h"
#include "platform/LocalizationResource_Ru.h"
#include "support/Catalogue.h"
#include "support/TempDir.h"

namespace {

TEST(LocalizationSupportTest, Oddities) {
    // A locale name that is a language code wins over the language.
    FakeSystemUtils odd(L"ru", L"en");
    EXPECT_EQ(L"ru", LocalizationSupport(odd).getLanguageCode());

    ScopedCatalogue english;
    // An integer in a text slot is printed as a number.
    EXPECT_EQ(L"Cannot read file '17'. Error: no memory",
              formatMessage("IDS_FILE_READ_ERROR", 17, L"no memory"));

    // The first option naming a language anywhere in it counts, up to a blank;
    // lower-casing only knows single bytes, so U+0141 keeps its low byte.
    EXPECT_EQ(L"en", languageFromJvmOptions(
                         {L"-Xmx1g", L"x-Duser.language=En -X", L"-Duser.language=ru"}));
    EXPECT_EQ(L"", languageFromJvmOptions({L"-Duser.language=", L"-Duser.language=ru"}));
    EXPECT_EQ(L"a", languageFromJvmOptions({L"-Duser.language=\u0141"}));
}

// The conversion slots of a text in order; "%%" is a literal, and any other
// "%x" counts, so that a stray "%s" shows up.
std::vector<std::string> slots(const std::string& text) {
    std::vector<std::string> found;
    for (size_t at = text.find('%'); at != std::string::npos && at + 1 < text.size();
         at = text.find('%', at)) {
        const size_t length = text[at + 1] == '%' || text.compare(at + 1, 2, "ls") != 0 ? 2 : 3;
        if (text[at + 1] != '%') {
            found.push_back(text.substr(at, length));
        }
        at += length;
    }
    return found;
}

TEST(MessageCatalogueTest, EveryIdTheCodeUsesHasItsTextsInBothLanguagesWithTheSameSlots) {
    MessageTable english, russian;
    LocalizationResource_Root().fillMessages(english);
    LocalizationResource_Ru().fillMessages(russian);
    // Used by the code, deliberately in no catalogue or only in the Russian one.
    const std::set<std::string> inNone = {"IDS_UNKNOWN_MODE", "IDS_CANNOT_FIND_JFIELD",
                                          "IDS_INVENTORY_CALL_ERROR"};
    const std::set<std::string> russianOnly = {"IDS_CWD_CHANGED_TO", "IDS_JVN_LIB"};
    std::set<std::string> used;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(
             std::filesystem::path(LAUNCHER_SOURCE_DIR) / "launcher/src")) {
        if (entry.is_regular_file() &&
            !entry.path().filename().string().starts_with("LocalizationResource_")) {
            const std::string text = readWholeFile(entry.path());
            for (size_t at = text.find("\"IDS_"); at != std::string::npos;
                 at = text.find("\"IDS_", at + 1)) {
                const size_t end =
                    text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_", at + 1);
                if (end != std::string::npos && text[end] == '"') {
                    used.insert(text.substr(at + 1, end - at - 1));
                }
            }
        }
    }
    ASSERT_GT(used.size(), 100u) << "the sources were not found under " << LAUNCHER_SOURCE_DIR;
    for (const std::string& id : used) {
        EXPECT_EQ(!inNone.count(id) && !russianOnly.count(id), english.count(id) == 1) << id;
        EXPECT_EQ(!inNone.count(id), russian.count(id) == 1) << id;
    }
    for (const auto& [id, text] : english) {
        ASSERT_EQ(1u, russian.count(id)) << id;
        const std::string translated = russian.at(id);
        EXPECT_EQ(slots(text), slots(translated)) << id;
        // Appended texts must join the sentence before them the same way.
        EXPECT_EQ(text[0] == ' ', translated[0] == ' ') << id;
    }
    for (const auto& [id, text] : russian) {
        for (const std::string& slot : slots(text)) {
            EXPECT_TRUE(slot == "%ls" || slot == "%d") << id << ": " << slot;
        }
    }
    // Texts users already know word for word, oddities included.
    const std::map<std::string, std::string> known = {
        {"IDS_UNABLE_TO_CONVERT_PATH_TO_ABS",
         "Не удается конвертировать путь в абсолютный '%ls'. Error: %ls"},
        {"IDS_GRACEFUL_SHUTDOWN_TIMED_OUT",
         "Штатная остановка е завершилась в отведенное время и будет прервана."},
        {"IDS_CANNOT_GUESS_JAVAHOME",
         "Невозможно определить JAVA_HOME, значение не передано явно, в Реестре программных "
         "продуктом Orvik и в переменной окружения не удалось найти подходящей версии Java."},
        {"IDS_STARTUP_HEADER", "%ls запущен (launcher %ls, x86-64), PID=%d"}};
    for (const auto& [id, expected] : known) {
        EXPECT_EQ(expected, russian.at(id)) << id;
    }
}

}  // namespace
