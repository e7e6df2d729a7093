#include "cli/CliParseResult.h"

#include <utility>

void CliParseResult::addError(std::wstring message) {
    errors_.push_back(std::move(message));
}

void CliParseResult::addValue(const std::wstring& name, std::wstring value) {
    values_[name].push_back(std::move(value));
}

bool CliParseResult::has(const std::wstring& name) const {
    return values_.find(name) != values_.end();
}

std::wstring CliParseResult::getValue(const std::wstring& name) const {
    auto found = values_.find(name);
    return found == values_.end() ? std::wstring() : found->second.front();
}

const std::vector<std::wstring>& CliParseResult::getValues(const std::wstring& name) const {
    static const std::vector<std::wstring> none;
    auto found = values_.find(name);
    return found == values_.end() ? none : found->second;
}

void CliParseResult::requestHelp(const std::wstring& topic, bool named) {
    if (helpRequested_ && (helpTopicNamed_ || !named)) {
        return;
    }
    helpRequested_ = true;
    helpTopicNamed_ = named;
    helpTopic_ = topic;
}
