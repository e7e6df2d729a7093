#include "cli/CliHelpSwitch.h"

#include <utility>

#include "cli/CliParseResult.h"

CliHelpSwitch::CliHelpSwitch(std::vector<std::wstring> names, std::wstring description,
                             std::wstring topic)
    : CliSwitch(std::move(names), Kind::Switch, L"", std::move(description)),
      topic_(std::move(topic)) {}

void CliHelpSwitch::apply(const std::wstring& modeName, const std::wstring&,
                          CliParseResult& result) const {
    if (topic_.empty()) {
        result.requestHelp(modeName, false);
    } else {
        result.requestHelp(topic_, true);
    }
}
