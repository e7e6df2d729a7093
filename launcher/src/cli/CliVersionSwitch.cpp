#include "cli/CliVersionSwitch.h"

#include <utility>

#include "cli/CliParseResult.h"

CliVersionSwitch::CliVersionSwitch(std::vector<std::wstring> names, std::wstring description)
    : CliSwitch(std::move(names), Kind::Switch, L"", std::move(description)) {}

void CliVersionSwitch::apply(const std::wstring&, const std::wstring&,
                             CliParseResult& result) const {
    result.requestVersion();
}
