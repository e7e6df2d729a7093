#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/ICliSwitch.h"

// A mode of the command line: the word that selects it, how usage introduces it,
// and its entries in the order usage lists them.
class CliMode {
  public:
    CliMode(std::wstring name, std::wstring usageLine, std::wstring description);

    const std::wstring& getName() const { return name_; }
    // Printed right after the program name, so it starts with a blank.
    const std::wstring& getUsageLine() const { return usageLine_; }
    const std::wstring& getDescription() const { return description_; }
    const std::vector<std::shared_ptr<const ICliSwitch>>& getEntries() const { return entries_; }

    void add(std::shared_ptr<const ICliSwitch> entry);
    // The entry answering to the name, or null.
    const ICliSwitch* find(const std::wstring& name) const;

  private:
    std::wstring name_;
    std::wstring usageLine_;
    std::wstring description_;
    std::vector<std::shared_ptr<const ICliSwitch>> entries_;
};
