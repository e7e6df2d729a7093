#pragma once

#include <string>
#include <vector>

#include "cli/CliSwitch.h"

// Asks for the program's version, whatever the mode.
class CliVersionSwitch : public CliSwitch {
  public:
    CliVersionSwitch(std::vector<std::wstring> names, std::wstring description);

    bool isRepeatable() const override { return true; }
    bool isCommon() const override { return true; }
    void apply(const std::wstring& modeName, const std::wstring& value,
               CliParseResult& result) const override;
};
