#pragma once

#include <map>
#include <string>

// The message table: id -> static UTF-8 text that is never freed or changed.
using MessageTable = std::map<std::string, const char*>;

// One language's message catalogue.
class ILocalizationResource {
  public:
    virtual ~ILocalizationResource() = default;
    virtual std::wstring getLanguageCode() const = 0;
    virtual void fillMessages(MessageTable& table) const = 0;
};
