#pragma once

#include <string>
#include <vector>

#include "cli/ICliSwitch.h"

// A plain switch or option whose occurrences are recorded under its first name.
class CliSwitch : public ICliSwitch {
  public:
    enum class Kind { Switch, Option, RepeatableOption };

    CliSwitch(std::vector<std::wstring> names, Kind kind, std::wstring valueName,
              std::wstring description);

    static CliSwitch flag(std::wstring name, std::wstring description);
    static CliSwitch option(std::wstring name, std::wstring valueName, std::wstring description);
    static CliSwitch repeatable(std::wstring name, std::wstring valueName,
                                std::wstring description);

    const std::vector<std::wstring>& getNames() const override { return names_; }
    bool takesValue() const override { return kind_ != Kind::Switch; }
    bool isRepeatable() const override { return kind_ == Kind::RepeatableOption; }
    const std::wstring& getValueName() const override { return valueName_; }
    const std::wstring& getDescription() const override { return description_; }
    bool isCommon() const override { return false; }
    void apply(const std::wstring& modeName, const std::wstring& value,
               CliParseResult& result) const override;

  private:
    std::vector<std::wstring> names_;
    Kind kind_;
    std::wstring valueName_;
    std::wstring description_;
};
