#pragma once

#include <string>
#include <vector>

#include "cli/CliSwitch.h"

// Asks for the usage of a mode: of the mode being parsed ("--help"), or of a
// named one (the mode names accepted by the help mode).
class CliHelpSwitch : public CliSwitch {
  public:
    CliHelpSwitch(std::vector<std::wstring> names, std::wstring description,
                  std::wstring topic = L"");

    bool isRepeatable() const override { return true; }
    bool isCommon() const override { return topic_.empty(); }
    void apply(const std::wstring& modeName, const std::wstring& value,
               CliParseResult& result) const override;

  private:
    std::wstring topic_;
};
