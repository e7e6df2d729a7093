#include "cli/CliMode.h"

#include <algorithm>
#include <utility>

CliMode::CliMode(std::wstring name, std::wstring usageLine, std::wstring description)
    : name_(std::move(name)),
      usageLine_(std::move(usageLine)),
      description_(std::move(description)) {}

void CliMode::add(std::shared_ptr<const ICliSwitch> entry) {
    entries_.push_back(std::move(entry));
}

const ICliSwitch* CliMode::find(const std::wstring& name) const {
    for (const auto& entry : entries_) {
        const auto& names = entry->getNames();
        if (std::find(names.begin(), names.end(), name) != names.end()) {
            return entry.get();
        }
    }
    return nullptr;
}
