#include "cli/CliSwitch.h"

#include <utility>

#include "cli/CliParseResult.h"

CliSwitch::CliSwitch(std::vector<std::wstring> names, Kind kind, std::wstring valueName,
                     std::wstring description)
    : names_(std::move(names)),
      kind_(kind),
      valueName_(std::move(valueName)),
      description_(std::move(description)) {}

CliSwitch CliSwitch::flag(std::wstring name, std::wstring description) {
    return CliSwitch({std::move(name)}, Kind::Switch, L"", std::move(description));
}

CliSwitch CliSwitch::option(std::wstring name, std::wstring valueName, std::wstring description) {
    return CliSwitch({std::move(name)}, Kind::Option, std::move(valueName), std::move(description));
}

CliSwitch CliSwitch::repeatable(std::wstring name, std::wstring valueName,
                                std::wstring description) {
    return CliSwitch({std::move(name)}, Kind::RepeatableOption, std::move(valueName),
                     std::move(description));
}

void CliSwitch::apply(const std::wstring&, const std::wstring& value,
                      CliParseResult& result) const {
    result.addValue(names_.front(), value);
}
