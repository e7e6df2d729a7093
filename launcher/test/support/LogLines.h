#pragma once

#include <algorithm>
#include <cctype>
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
// YYYY/MM/DD-hh:mm:ss.mmm
inline bool isTimeStamp(const std::string& text) {
    const std::string shape = "dddd/dd/dd-dd:dd:dd.ddd";
    return text.size() == shape.size() &&
           std::equal(shape.begin(), shape.end(), text.begin(), [](char s, char c) {
               return s == 'd' ? std::isdigit(static_cast<unsigned char>(c)) != 0 : s == c;
           });
}
}  // namespace loglines

// A line without the launcher's layout comes back with an empty time and the whole
// line as its message, so a test can say which one it was.
inline std::vector<LogLine> parseLogLines(const std::string& text) {
    static const std::string keys[] = {
        ",SYSTEM,0,level=", ",pid=",  ",tid=",  ",component=launcher,class=",
        ",file=",           ",line=", ",func=", ",message="};
    std::vector<LogLine> lines;
    for (const std::string& raw : splitLines(text)) {
        // Each field runs from its key to the next key, the message to the line's end.
        std::string fields[8];
        bool ok = loglines::isTimeStamp(raw.substr(0, 23));
        for (size_t i = 0, at = 23; ok && i < 8; ++i) {
            const size_t end = i == 7 ? raw.size() : raw.find(keys[i + 1], at + keys[i].size());
            ok = raw.compare(at, keys[i].size(), keys[i]) == 0 && end != std::string::npos;
            fields[i] = ok ? raw.substr(at + keys[i].size(), end - at - keys[i].size()) : "";
            at = end;
        }
        ok = ok && !fields[1].empty() &&
             fields[1].find_first_not_of("0123456789") == std::string::npos;
        lines.push_back(ok ? LogLine{raw.substr(0, 23), fields[0], fields[1], fields[3], fields[4],
                                     fields[6], fields[7]}
                           : LogLine{"", "", "", "", "", "", raw});
    }
    return lines;
}
