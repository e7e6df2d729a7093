#include "cli/CliParser.h"

#include <algorithm>
#include <map>
#include <utility>

#include "platform/LocalizationSupport.h"

namespace {

bool looksLikeSwitch(const std::wstring& arg) {
    return !arg.empty() && arg.front() == L'-';
}

std::wstring joined(const std::vector<std::wstring>& items, const std::wstring& separator) {
    std::wstring text;
    for (size_t i = 0; i < items.size(); ++i) {
        if (i > 0) {
            text += separator;
        }
        text += items[i];
    }
    return text;
}

std::wstring leftColumn(const ICliSwitch& entry) {
    std::wstring text = joined(entry.getNames(), L" | ");
    if (!entry.getValueName().empty()) {
        text += L' ';
        text += entry.getValueName();
    }
    return text;
}

// Splits a description into lines of at most `width` characters at blanks; a
// word longer than that gets a line of its own.
std::vector<std::wstring> wrapped(const std::wstring& text, size_t width) {
    std::vector<std::wstring> lines;
    std::wstring line;
    size_t at = 0;
    while (at < text.size()) {
        size_t start = text.find_first_not_of(L' ', at);
        if (start == std::wstring::npos) {
            break;
        }
        size_t end = text.find(L' ', start);
        if (end == std::wstring::npos) {
            end = text.size();
        }
        std::wstring word = text.substr(start, end - start);
        if (!line.empty() && line.size() + 1 + word.size() > width) {
            lines.push_back(std::move(line));
            line.clear();
        }
        if (!line.empty()) {
            line += L' ';
        }
        line += word;
        at = end;
    }
    if (!line.empty() || lines.empty()) {
        lines.push_back(std::move(line));
    }
    return lines;
}

struct UsageRow {
    std::wstring left;
    std::wstring description;
};

void appendSection(std::wstring& out, const std::wstring& heading,
                   const std::vector<UsageRow>& rows, size_t column) {
    if (rows.empty()) {
        return;
    }
    const size_t minimumWidth = 20;
    const size_t width = CliParser::kUsageWidth >= column + minimumWidth
                             ? CliParser::kUsageWidth - column
                             : minimumWidth;
    out += L"\n\n";
    out += heading;
    for (const UsageRow& row : rows) {
        std::vector<std::wstring> description = wrapped(row.description, width);
        out += L'\n';
        out += L"  ";
        out += row.left;
        if (!description.front().empty()) {
            out.append(column - 2 - row.left.size(), L' ');
            out += description.front();
        }
        for (size_t i = 1; i < description.size(); ++i) {
            out += L'\n';
            out.append(column, L' ');
            out += description[i];
        }
    }
}

}  // namespace

void CliParser::addMode(CliMode mode) {
    modes_.push_back(std::move(mode));
}

const CliMode* CliParser::findMode(const std::wstring& name) const {
    for (const CliMode& mode : modes_) {
        if (mode.getName() == name) {
            return &mode;
        }
    }
    return nullptr;
}

CliParseResult CliParser::parse(const std::vector<std::wstring>& args) const {
    CliParseResult result;
    if (modes_.empty()) {
        return result;
    }
    const CliMode* mode = &modes_.front();
    size_t next = 0;
    if (!args.empty() && !looksLikeSwitch(args.front())) {
        mode = findMode(args.front());
        if (mode == nullptr) {
            result.addError(formatMessage("IDS_UNSUPPORTED_MODE", args.front()));
            return result;
        }
        next = 1;
    }
    result.setModeName(mode->getName());

    std::map<const ICliSwitch*, int> occurrences;
    std::vector<std::wstring> unexpected;
    for (; next < args.size(); ++next) {
        const std::wstring& arg = args[next];
        std::wstring name = arg;
        const ICliSwitch* entry = mode->find(arg);
        bool hasInlineValue = false;
        std::wstring value;
        if (entry == nullptr && looksLikeSwitch(arg)) {
            size_t equals = arg.find(L'=');
            if (equals != std::wstring::npos) {
                const ICliSwitch* candidate = mode->find(arg.substr(0, equals));
                if (candidate != nullptr && candidate->takesValue()) {
                    entry = candidate;
                    name = arg.substr(0, equals);
                    value = arg.substr(equals + 1);
                    hasInlineValue = true;
                }
            }
        }
        if (entry == nullptr) {
            unexpected.push_back(arg);
            continue;
        }
        if (entry->takesValue() && !hasInlineValue) {
            if (next + 1 >= args.size()) {
                result.addError(formatMessage("IDS_OPTION_WITHOUT_VALUE", name));
                continue;
            }
            value = args[++next];
        }
        if (++occurrences[entry] > 1 && !entry->isRepeatable()) {
            if (occurrences[entry] == 2) {
                result.addError(formatMessage("IDS_OPTION_DUPLICATION_PROHIBITED", name));
            }
            continue;
        }
        entry->apply(mode->getName(), value, result);
    }
    if (!unexpected.empty()) {
        result.addError(formatMessage("IDS_UNEXPECTED_CLI_ARGS", joined(unexpected, L" ")));
    }
    if (result.isVersionRequested() || result.isHelpRequested()) {
        // Asking for help is answered even on a command line that is wrong otherwise.
        result.clearErrors();
        result.setModeName(modes_.front().getName());
    }
    return result;
}

std::wstring CliParser::getUsage(const std::wstring& programName,
                                 const std::wstring& modeName) const {
    if (modes_.empty()) {
        return std::wstring();
    }
    const CliMode* mode = findMode(modeName);
    if (mode == nullptr) {
        mode = &modes_.front();
    }
    std::vector<UsageRow> modeRows{{mode->getName(), mode->getDescription()}};
    std::vector<UsageRow> commonRows;
    std::vector<UsageRow> ownRows;
    for (const auto& entry : mode->getEntries()) {
        (entry->isCommon() ? commonRows : ownRows)
            .push_back({leftColumn(*entry), entry->getDescription()});
    }
    size_t widest = 0;
    for (const auto* rows : {&modeRows, &commonRows, &ownRows}) {
        for (const UsageRow& row : *rows) {
            widest = std::max(widest, row.left.size());
        }
    }
    const size_t column = 2 + widest + 2;

    std::wstring out = LocalizationSupport::getText("IDS_CLI_USAGE_USAGE");
    out += L' ';
    out += programName;
    out += mode->getUsageLine();
    appendSection(out, LocalizationSupport::getText("IDS_CLI_USAGE_MODE"), modeRows, column);
    appendSection(out, LocalizationSupport::getText("IDS_CLI_USAGE_COMMON_PARAMS"), commonRows,
                  column);
    appendSection(out, LocalizationSupport::getText("IDS_CLI_USAGE_PARAMS"), ownRows, column);
    return out;
}
