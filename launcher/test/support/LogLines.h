#pragma once

#include <regex>
#include <string>
#include <vector>

// One line of the launcher log split into its fields.
struct LogLine {
    std::string time;
    std::string level;
    std::string pid;
    std::string className;
    std::string file;
    std::string function;
    std::string message;
};

// The lines of a text, without their line feeds.
inline std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
        end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
    }
    return lines;
}

namespace loglines {
inline const char* const kTimeStamp = R"((\d{4}/\d\d/\d\d-\d\d:\d\d:\d\d\.\d{3}))";
inline bool isTimeStamp(const std::string& text) {
    return std::regex_match(text, std::regex(kTimeStamp));
}
}  // namespace loglines

// A line without the launcher's layout comes back with an empty time and the whole
// line as its message, so a test can say which one it was.
inline std::vector<LogLine> parseLogLines(const std::string& text) {
    static const std::regex layout(
        loglines::kTimeStamp +
        std::string(R"(,SYSTEM,0,level=([^,]*),pid=(\d+),tid=\d+,component=launcher,)"
                    R"(class=([^,]*),file=([^,]*),line=\d+,func=([^,]*),message=)"));
    std::vector<LogLine> lines;
    std::smatch field;
    for (const std::string& raw : splitLines(text)) {
        lines.push_back(
            std::regex_search(raw, field, layout, std::regex_constants::match_continuous)
                ? LogLine{field[1], field[2], field[3], field[4], field[5], field[6],
                          field.suffix()}
                : LogLine{"", "", "", "", "", "", raw});
    }
    return lines;
}
