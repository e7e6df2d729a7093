#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "fakes/FakeSystemUtils.h"
#include "platform/LocalizationResource_Root.h"
#include "platform/LocalizationResource_Ru.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"
#include "support/Catalogue.h"

namespace {

// Every id the English catalogue must carry; the Russian one carries them too.
const char* const kEnglishIdList =
    "IDS_STARTUP_HEADER IDS_STARTED_HEADER IDS_STOPPED_HEADER IDS_UNABLE_TO_RESOLVE_PATH "
    "IDS_UNABLE_TO_CONVERT_PATH_TO_ABS IDS_DESTINATION_IS_NOT_ACCESSIBLE "
    "IDS_DESTINATION_IS_NOT_ACCESSIBLE_EX IDS_2DESTINATIONS_NOT_ACCESSIBLE "
    "IDS_OPTION_DUPLICATION_PROHIBITED IDS_CANNOT_SET_INSTANCE_ROOT "
    "IDS_INSTANCE_ROOT_NOT_EXIST IDS_INSTANCE_ROOT_IS_A_FILE IDS_OPTIONS_CONFLICT "
    "IDS_OPTION_WITHOUT_VALUE IDS_LOG_REUSE_OF_OTHER_STREAMS_PROHIBITED "
    "IDS_CANNOT_ROTATE_LOG IDS_PID_INVALID_SYNTAX IDS_PID_INVALID_VALUE IDS_INVALID_TIMEOUT "
    "IDS_PIDFILE_ZEROSIZE IDS_PIDFILE_BAD_CHARS IDS_PIDFILE_EXTRACHARS "
    "IDS_PIDFILE_EXISTS_PROCESS_RUNNING IDS_PIDFILE_CANNOT_BE_DELETED IDS_FILE_TOO_BIG "
    "IDS_CANNOT_DELETE_FILE IDS_FILE_READ_ERROR IDS_FILE_WRITE_ERROR IDS_FILE_CREATION_ERROR "
    "IDS_FILE_FORMAT_UNKNOWN_FIELD IDS_FILE_FORMAT_UNKNOWN_JAVA_VERSION "
    "IDS_FILE_FORMAT_WRONG_STRUCTURE IDS_INSTANCE_IN_FILE_BUT_NOT_IN_CLI "
    "IDS_CANNOT_GET_COMMAND_LINE_ARGS IDS_NONE_OF_2OPTIONS_ARE_SET IDS_INSTANCE_IN_STOP_MODE "
    "IDS_OPTS_MUT_EX_MET IDS_UNSUPPORTED_MODE IDS_UNEXPECTED_CLI_ARGS "
    "IDS_CANNOT_START_WAITING_FOR_STOP_SIGNAL IDS_STOP_SIGNAL_WAIT_FAILED "
    "IDS_CANNOT_OPEN_STOPPING_PROCESS_EVENT IDS_GRACEFUL_SHUTDOWN_TIMED_OUT "
    "IDS_APP_DIDNT_SUCCEEDED IDS_UNABLE_TO_RESOLVE IDS_CANNOT_GUESS_JAVAHOME "
    "IDS_CANNOT_FIND_CLASS IDS_CANNOT_LOAD_CLASS_INCORRECT_FORMAT IDS_CANNOT_LOAD_CLASS "
    "IDS_CANNOT_FIND_JMETHOD IDS_CANNOT_CALL IDS_UNABLE_LOAD_JVM_DEP IDS_UNABLE_LOAD_LIBJVM "
    "IDS_LIBJVM_NO_CREATE_FN IDS_CANNOT_CREATE_JVM_INSTANCE "
    "IDS_CANNOT_CREATE_JVM_INSTANCE_VER IDS_WRONG_FILE_SIGNATURE IDS_DLL_UNKNOWN_BINTYPE "
    "IDS_DLL_NOT_ELF IDS_DLL_BAD_ARCH IDS_WILDCARDS_ONLY_FOR_FILES "
    "IDS_CANNOT_FIND_MODULE_PATH IDS_CANNOT_FIND_CLASS_PATH IDS_CANNOT_CWD "
    "IDS_FAILED_TO_CHECK_PROCESS_RUNNING IDS_CANNOT_ATTACH_NATIVE_THREAD_TO_JVM_THREAD "
    "IDS_CLASS_AND_MODULE_PATHS_ARE_EMPTY IDS_YAML_MULTIPLE_DOCS IDS_YAML_WRONG_STRUCTURE "
    "IDS_YAML_KEY_EXPECTED IDS_YAML_WRONG_INDENT IDS_INVENTORY_LIB_ABSENT "
    "IDS_INVENTORY_LIB_WRONG IDS_INVENTORY_GRAAL_INIT_FAIL IDS_CLI_MODE_DESCR_HELP "
    "IDS_CLI_MODE_DESCR_START IDS_CLI_MODE_DESCR_STOP IDS_CLI_SWITCH_DESCR_VERSION "
    "IDS_CLI_SWITCH_DESCR_HELP IDS_CLI_USAGE_USAGE IDS_CLI_USAGE_COMMON_PARAMS "
    "IDS_CLI_USAGE_MODE IDS_CLI_USAGE_PARAMS IDS_CLISWITCH_DAEMON IDS_CLISWITCH_PROCNAME "
    "IDS_CLISWITCH_INSTANCE IDS_CLISWITCH_WORKDIR IDS_CLISWITCH_PIDFILE IDS_CLISWITCH_COUT "
    "IDS_CLISWITCH_CERR IDS_CLISWITCH_CSTD IDS_CLISWITCH_CLOG IDS_CLISWITCH_SERVICENAME "
    "IDS_CLISWITCH_JHOME IDS_CLISWITCH_JVMDLL IDS_CLISWITCH_CLISWITCH_JVMOPT "
    "IDS_CLISWITCH_JCLASSPATH IDS_CLISWITCH_JMODULEPATH IDS_CLISWITCH_JIFACECLASS "
    "IDS_CLISWITCH_JIFACEARG IDS_CLISWITCH_QUIET IDS_CLISWITCH_PID IDS_CLISWITCH_TIMEOUT "
    "IDS_CLISWITCH_FAST IDS_LAUNCHER_NOT_FOUND_NOTHING_STOPPED "
    "IDS_LAUNCHER_STOPPED_GRACEFULLY IDS_LAUNCHER_KILLED IDS_LAUNCHER_KILL_ERROR "
    "IDS_PIDFILE_WAS_REMOVED IDS_PIDFILE_FAILED_TO_REMOVE IDS_LAUNCHER_SIGNAL_PERM_ERROR "
    "IDS_CANNOT_FIND_INI_IN_SERVICE IDS_CANNOT_FIND_JVMLIB IDS_JAVA_EXIT_ABNORMALLY "
    "IDS_JAVA_HALTED IDS_PIDFILE_OF_ANOTHER_IS_DIRECTORY IDS_PIDFILE_OF_ANOTHER_WAS_REMOVED "
    "IDS_ANOTHER_ASKED_TO_STOP IDS_NORMAL_EXIT IDS_JAVA_HOME_FROM_SYSENV "
    "IDS_SERVICE_CONFIG_NOT_FOUND ";

std::vector<std::string> englishIds() {
    std::vector<std::string> ids;
    std::istringstream words(kEnglishIdList);
    for (std::string id; words >> id;) {
        ids.push_back(id);
    }
    return ids;
}

const std::vector<std::string> kRussianOnlyIds = {"IDS_CWD_CHANGED_TO", "IDS_JVN_LIB"};

// Used by the code, deliberately in no catalogue, so they print as their own names.
const std::vector<std::string> kIdsInNoCatalogue = {"IDS_UNKNOWN_MODE", "IDS_CANNOT_FIND_JFIELD",
                                                    "IDS_INVENTORY_CALL_ERROR"};

// Russian texts users already know word for word, oddities included.
const std::map<std::string, std::string> kFixedRussianTexts = {
    {"IDS_STARTUP_HEADER", "%ls запущен (launcher %ls, x86-64), PID=%d"},
    {"IDS_STARTED_HEADER", "Нажмите Ctrl+C для завершения."},
    {"IDS_STOPPED_HEADER", "Launcher остановлен."},
    {"IDS_UNABLE_TO_CONVERT_PATH_TO_ABS",
     "Не удается конвертировать путь в абсолютный '%ls'. Error: %ls"},
    {"IDS_OPTION_DUPLICATION_PROHIBITED", "%ls не может повторяться"},
    {"IDS_GRACEFUL_SHUTDOWN_TIMED_OUT",
     "Штатная остановка е завершилась в отведенное время и будет прервана."},
    {"IDS_CANNOT_GUESS_JAVAHOME",
     "Невозможно определить JAVA_HOME, значение не передано явно, в Реестре программных "
     "продуктом Orvik и в переменной окружения не удалось найти подходящей версии Java."},
    {"IDS_YAML_WRONG_INDENT",
     "Ошибка разбора launcher.yml: некорректный отступ. Ошибка найдена по смещению %d от "
     "начала файла."},
    {"IDS_CWD_CHANGED_TO", "Текущая рабочая директория изменена на '%ls'"},
    {"IDS_JVN_LIB", "Библиотека JVM используемая для запуска"},
};

// Latin words a Russian text may keep: names, technical tokens, the mode name.
const std::set<std::string> kUntranslatedWords = {
    "Ctrl+C",      "ELF",        "JAVA_HOME", "JDK",      "JNI_CreateJavaVM",
    "JRE",         "JVM",        "Java",      "Launcher", "Orvik",
    "PID",         "classpath",  "inventory", "launcher", "launcher.yml",
    "module-path", "modulepath", "ps+grep",   "start",    "x86-64"};

MessageTable fill(const ILocalizationResource& resource) {
    MessageTable table;
    resource.fillMessages(table);
    return table;
}

std::set<std::string> idsOf(const MessageTable& table) {
    std::set<std::string> ids;
    for (const auto& [id, text] : table) {
        ids.insert(id);
    }
    return ids;
}

// The conversion slots of a text in order; "%%" is a literal, any other "%x" is
// kept as it stands so that a stray "%s" shows up as a mismatch.
std::vector<std::string> placeholders(std::string_view text) {
    std::vector<std::string> found;
    for (size_t i = 0; i + 1 < text.size(); ++i) {
        if (text[i] != '%') {
            continue;
        }
        if (text[i + 1] == '%') {
            ++i;
        } else if (text.substr(i + 1, 2) == "ls") {
            found.push_back("%ls");
            i += 2;
        } else {
            found.push_back(std::string(text.substr(i, 2)));
            ++i;
        }
    }
    return found;
}

// Strict UTF-8: shortest forms only, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(std::string_view text) {
    for (size_t i = 0; i < text.size();) {
        const auto b0 = static_cast<unsigned char>(text[i]);
        size_t length = b0 < 0x80                  ? 1
                        : b0 >= 0xC2 && b0 <= 0xDF ? 2
                        : b0 >= 0xE0 && b0 <= 0xEF ? 3
                        : b0 >= 0xF0 && b0 <= 0xF4 ? 4
                                                   : 0;
        if (length == 0 || i + length > text.size()) {
            return false;
        }
        char32_t cp = length == 1 ? b0 : b0 & (0xFF >> (length + 1));
        for (size_t k = 1; k < length; ++k) {
            const auto b = static_cast<unsigned char>(text[i + k]);
            if ((b & 0xC0) != 0x80) {
                return false;
            }
            cp = (cp << 6) | (b & 0x3F);
        }
        static const char32_t kMinimum[] = {0, 0, 0x80, 0x800, 0x10000};
        if (cp < kMinimum[length] || (cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF) {
            return false;
        }
        i += length;
    }
    return true;
}

size_t countCyrillic(const std::wstring& text) {
    size_t count = 0;
    for (wchar_t c : text) {
        count += (c >= 0x0400 && c <= 0x04FF) ? 1 : 0;
    }
    return count;
}

bool isWordChar(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

// Latin words of a text, without its slots and command-line option names; "-",
// "." and "+" between word characters keep a token such as "x86-64" whole.
std::vector<std::string> latinWords(std::string_view text) {
    std::vector<std::string> words;
    size_t i = 0;
    while (i < text.size()) {
        if (text.substr(i, 3) == "%ls") {
            i += 3;
        } else if (text.substr(i, 2) == "%d") {
            i += 2;
        } else if (text.substr(i, 2) == "--") {
            for (i += 2; i < text.size() && (isWordChar(text[i]) || text[i] == '-'); ++i) {
            }
        } else if (isWordChar(text[i])) {
            size_t start = i;
            while (i < text.size() &&
                   (isWordChar(text[i]) || ((text[i] == '-' || text[i] == '.' || text[i] == '+') &&
                                            i + 1 < text.size() && isWordChar(text[i + 1])))) {
                ++i;
            }
            if (!(text[start] >= '0' && text[start] <= '9')) {
                words.emplace_back(text.substr(start, i - start));
            }
        } else {
            ++i;
        }
    }
    return words;
}

class MessageCatalogueTest : public ::testing::Test {
  protected:
    const MessageTable english = fill(LocalizationResource_Root());
    const MessageTable russian = fill(LocalizationResource_Ru());
};

TEST_F(MessageCatalogueTest, CataloguesHoldExactlyTheirIds) {
    EXPECT_EQ(L"en", LocalizationResource_Root().getLanguageCode());
    EXPECT_EQ(L"ru", LocalizationResource_Ru().getLanguageCode());

    const std::vector<std::string> ids = englishIds();
    const std::set<std::string> expectedEnglish(ids.begin(), ids.end());
    ASSERT_EQ(121u, ids.size());
    ASSERT_EQ(ids.size(), expectedEnglish.size()) << "the expected id list has duplicates";
    EXPECT_EQ(expectedEnglish, idsOf(english));

    std::set<std::string> expectedRussian = expectedEnglish;
    expectedRussian.insert(kRussianOnlyIds.begin(), kRussianOnlyIds.end());
    EXPECT_EQ(123u, expectedRussian.size());
    EXPECT_EQ(expectedRussian, idsOf(russian));

    for (const std::string& id : kIdsInNoCatalogue) {
        EXPECT_EQ(0u, english.count(id)) << id;
        EXPECT_EQ(0u, russian.count(id)) << id;
    }
}

TEST_F(MessageCatalogueTest, EveryTextIsPresentWithTheSameSlotsInBothLanguages) {
    for (const MessageTable* table : {&english, &russian}) {
        for (const auto& [id, text] : *table) {
            ASSERT_NE(nullptr, text) << id;
            EXPECT_NE('\0', text[0]) << id;
            for (const std::string& slot : placeholders(text)) {
                EXPECT_TRUE(slot == "%ls" || slot == "%d") << id << ": " << slot;
            }
        }
    }
    for (const auto& [id, englishText] : english) {
        auto found = russian.find(id);
        ASSERT_NE(russian.end(), found) << id;
        EXPECT_EQ(placeholders(englishText), placeholders(found->second)) << id;
    }
}

TEST_F(MessageCatalogueTest, TextsAreCleanUtf8ThatSurvivesWideConversion) {
    for (const auto& [id, text] : english) {
        for (const char* p = text; *p != '\0'; ++p) {
            EXPECT_LT(static_cast<unsigned char>(*p), 0x80) << id;
        }
    }
    for (const auto& [id, text] : russian) {
        EXPECT_TRUE(isValidUtf8(text)) << id;
        EXPECT_EQ(std::string(text), toUtf8(toWide(text))) << id;
    }
}

TEST_F(MessageCatalogueTest, RussianTextsAreTranslated) {
    for (const auto& [id, text] : russian) {
        const std::wstring wide = toWide(text);
        EXPECT_GT(countCyrillic(wide), 0u) << id << ": " << text;
        auto englishText = english.find(id);
        if (englishText == english.end()) {
            continue;
        }
        EXPECT_NE(std::string(englishText->second), text) << id;
        // Appended texts must join the sentence before them the same way.
        EXPECT_EQ(englishText->second[0] == ' ', text[0] == ' ') << id;
        for (const std::string& word : latinWords(text)) {
            const bool knownEnglishWord =
                id == std::string("IDS_UNABLE_TO_CONVERT_PATH_TO_ABS") && word == "Error";
            EXPECT_TRUE(kUntranslatedWords.count(word) > 0 || knownEnglishWord)
                << id << " keeps the English word '" << word << "': " << text;
        }
    }
}

TEST_F(MessageCatalogueTest, FixedRussianTextsAreVerbatim) {
    for (const auto& [id, expected] : kFixedRussianTexts) {
        auto found = russian.find(id);
        ASSERT_NE(russian.end(), found) << id;
        EXPECT_EQ(expected, found->second) << id;
    }
    for (const char* id :
         {"IDS_INVENTORY_LIB_ABSENT", "IDS_INVENTORY_LIB_WRONG", "IDS_INVENTORY_GRAAL_INIT_FAIL"}) {
        EXPECT_NE(std::string::npos, std::string(russian.at(id)).find("Orvik inventory")) << id;
    }
}

TEST(RussianRenderingTest, CatalogueFollowsTheLocale) {
    FakeSystemUtils russianSystem(L"ru_RU", L"ru");
    LocalizationSupport russian(russianSystem);
    FakeSystemUtils englishSystem(L"en_US", L"en");
    LocalizationSupport english(englishSystem);

    EXPECT_EQ(L"Текущая рабочая директория изменена на '%ls'",
              russian.getMessage("IDS_CWD_CHANGED_TO"));
    EXPECT_EQ(L"IDS_CWD_CHANGED_TO", english.getMessage("IDS_CWD_CHANGED_TO"));
    EXPECT_EQ(L"IDS_UNKNOWN_MODE", russian.getMessage("IDS_UNKNOWN_MODE"));
    EXPECT_EQ(L"IDS_UNKNOWN_MODE", english.getMessage("IDS_UNKNOWN_MODE"));

    for (const auto& [id, text] : fill(LocalizationResource_Ru())) {
        EXPECT_EQ(toWide(text), russian.getMessage(id.c_str())) << id;
    }
}

TEST(RussianRenderingTest, FormatMessageFillsRussianTexts) {
    ScopedCatalogue russian(L"ru");
    ASSERT_EQ(L"ru", russian.get().getLanguageCode());
    ASSERT_EQ(L"Launcher остановлен.", LocalizationSupport::getText("IDS_STOPPED_HEADER"))
        << "another catalogue is still the current one";

    EXPECT_EQ(L"Текущая рабочая директория изменена на '/srv/приложение'",
              formatMessage("IDS_CWD_CHANGED_TO", L"/srv/приложение"));
    EXPECT_EQ(
        L"Ошибка разбора launcher.yml: некорректный отступ. Ошибка найдена по смещению "
        L"2147483647 от начала файла.",
        formatMessage("IDS_YAML_WRONG_INDENT", 2147483647));
    EXPECT_EQ(L"app запущен (launcher 3.10.5+8, x86-64), PID=42",
              formatMessage("IDS_STARTUP_HEADER", L"app", L"3.10.5+8", 42));
    EXPECT_EQ(L"IDS_UNKNOWN_MODE", formatMessage("IDS_UNKNOWN_MODE", L"frobnicate"));
}

}  // namespace
