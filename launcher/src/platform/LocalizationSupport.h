#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/ILocalizationResource.h"

class ISystemUtils;

// The process-wide message catalogue: picks English or Russian once from the
// locale and renders IDS_* ids for the rest of the run.
class LocalizationSupport {
  public:
    explicit LocalizationSupport(ISystemUtils& systemUtils);
    virtual ~LocalizationSupport();
    LocalizationSupport(const LocalizationSupport&) = delete;
    LocalizationSupport& operator=(const LocalizationSupport&) = delete;

    // The text of an id; an id the catalogue lacks is returned as its own name.
    std::wstring getMessage(const char* id) const;
    const std::wstring& getLanguageCode() const { return languageCode_; }

    // getMessage on the current instance; throws (code 21) before one exists.
    static std::wstring getText(const char* id);

  private:
    MessageTable table_;
    std::wstring languageCode_;
};

// One argument of a message: a text or an integer. An integer given for a "%ls"
// slot is printed as a number, never read as a pointer.
struct MessageArgument {
    MessageArgument(const std::wstring& text) : text(text) {}
    MessageArgument(const wchar_t* text) : text(text ? text : L"") {}
    template <typename T, typename = std::enable_if_t<std::is_integral_v<T>>>
    MessageArgument(T number) : isNumber(true), number(static_cast<long long>(number)) {}

    std::wstring_view text;
    bool isNumber = false;
    long long number = 0;
};

std::wstring formatMessageArguments(const char* id, std::initializer_list<MessageArgument> args);

// Renders an id of the catalogue with its "%ls" and "%d" slots filled in order.
template <typename... Args>
std::wstring formatMessage(const char* id, const Args&... args) {
    return formatMessageArguments(id, {MessageArgument(args)...});
}

// The language named by the first option holding "-Duser.language=", lower-cased;
// empty when no option names one.
std::wstring languageFromJvmOptions(const std::vector<std::wstring>& options);
