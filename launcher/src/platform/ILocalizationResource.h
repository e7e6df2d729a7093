#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

// The message table: id -> static UTF-8 text that is never freed or changed. The
// ids are string literals too, so filling the table copies no text.
using MessageTable = std::map<std::string_view, const char*, std::less<>>;

// One language's message catalogue.
class ILocalizationResource {
  public:
    virtual ~ILocalizationResource() = default;
    virtual std::wstring getLanguageCode() const = 0;
    virtual void fillMessages(MessageTable& table) const = 0;
};
