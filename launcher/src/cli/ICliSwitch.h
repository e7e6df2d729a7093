#pragma once

#include <string>
#include <vector>

class CliParseResult;

// One entry of a mode's command line: a switch, or an option that takes a value.
class ICliSwitch {
  public:
    // The names the entry answers to; usage shows them all, in this order.
    virtual const std::vector<std::wstring>& getNames() const = 0;
    virtual bool takesValue() const = 0;
    // A repeatable entry may be given any number of times, any other at most once.
    virtual bool isRepeatable() const = 0;
    // How usage shows the value; empty for a switch.
    virtual const std::wstring& getValueName() const = 0;
    virtual const std::wstring& getDescription() const = 0;
    // Common entries (help, version) are listed apart from the mode's own ones.
    virtual bool isCommon() const = 0;
    // Records one occurrence, under the given name as typed, with its value
    // (empty for a switch), for the mode being parsed.
    virtual void apply(const std::wstring& modeName, const std::wstring& value,
                       CliParseResult& result) const = 0;
    virtual ~ICliSwitch() = default;
};
