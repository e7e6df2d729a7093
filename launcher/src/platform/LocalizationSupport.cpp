#include "platform/LocalizationSupport.h"

#include <atomic>
#include <cctype>
#include <map>
#include <memory>

#include "platform/ISystemUtils.h"
#include "platform/LauncherException.h"
#include "platform/LocalizationResource_Root.h"
#include "platform/LocalizationResource_Ru.h"
#include "platform/TextConversion.h"

namespace {
std::atomic<LocalizationSupport*> currentInstance{nullptr};
}

LocalizationSupport::LocalizationSupport(ISystemUtils& systemUtils) {
    LocalizationResource_Root english;
    LocalizationResource_Ru russian;
    const std::map<std::wstring, const ILocalizationResource*> byCode = {
        {english.getLanguageCode(), &english},
        {russian.getLanguageCode(), &russian},
    };
    const ILocalizationResource* chosen = &english;
    auto match = byCode.find(systemUtils.getLocaleName());
    if (match == byCode.end()) {
        match = byCode.find(systemUtils.getLanguage());
    }
    if (match != byCode.end()) {
        chosen = match->second;
    }
    chosen->fillMessages(table_);
    languageCode_ = chosen->getLanguageCode();

    LocalizationSupport* expected = nullptr;
    currentInstance.compare_exchange_strong(expected, this, std::memory_order_acq_rel);
}

LocalizationSupport::~LocalizationSupport() {
    // Only the registered instance unregisters, so a late getText fails cleanly
    // instead of reading a destroyed table.
    LocalizationSupport* self = this;
    currentInstance.compare_exchange_strong(self, nullptr, std::memory_order_acq_rel);
}

std::wstring LocalizationSupport::getMessage(const char* id) const {
    auto found = table_.find(id);
    if (found == table_.end()) {
        return toWide(id);
    }
    return toWide(found->second);
}

std::wstring LocalizationSupport::getText(const char* id) {
    const LocalizationSupport* instance = currentInstance.load(std::memory_order_acquire);
    if (instance == nullptr) {
        throw LauncherException(LauncherException::kInternal,
                                L"LocalizationSupport was not initialized.");
    }
    return instance->getMessage(id);
}

std::wstring formatMessageArguments(const char* id, std::initializer_list<MessageArgument> args) {
    const std::wstring format = LocalizationSupport::getText(id);
    std::wstring result;
    result.reserve(format.size() + 32 * args.size());
    auto next = args.begin();
    for (size_t i = 0; i < format.size(); ++i) {
        wchar_t c = format[i];
        if (c != L'%' || i + 1 >= format.size()) {
            result.push_back(c);
            continue;
        }
        if (format[i + 1] == L'%') {
            result.push_back(L'%');
            ++i;
            continue;
        }
        size_t length = 0;
        if (format.compare(i + 1, 2, L"ls") == 0) {
            length = 3;
        } else if (format[i + 1] == L'd') {
            length = 2;
        }
        if (length == 0) {
            result.push_back(c);
            continue;
        }
        if (next == args.end()) {
            // A slot without an argument cannot be rendered.
            return std::wstring();
        }
        if (next->isNumber) {
            result += toText(next->number);
        } else {
            result.append(next->text);
        }
        ++next;
        i += length - 1;
    }
    return result;
}

std::wstring languageFromJvmOptions(const std::vector<std::wstring>& options) {
    static const std::wstring marker = L"-Duser.language=";
    for (const std::wstring& option : options) {
        size_t at = option.find(marker);
        if (at == std::wstring::npos) {
            continue;
        }
        std::wstring language;
        for (size_t i = at + marker.size(); i < option.size(); ++i) {
            wchar_t c = option[i];
            if (c >= 0 && c <= 0xFF && std::isspace(static_cast<int>(c))) {
                break;
            }
            // Lower-casing works on the low byte only, as the C library's tolower does.
            language.push_back(static_cast<wchar_t>(std::tolower(static_cast<int>(c & 0xFF))));
        }
        return language;
    }
    return std::wstring();
}
