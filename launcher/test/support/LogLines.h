#pragma once

#include <cctype>
#include <string>
#include <vector>

// One line of the launcher log split into its fields.
struct LogLine {
    std::string time;
    std::string level;
    std::string pid;
    std::string tid;
    std::string className;
    std::string file;
    std::string line;
    std::string function;
    std::string message;
};

// The lines of a text, without their line feeds.
inline std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    size_t at = 0;
    while (at < text.size()) {
        size_t end = text.find('\n', at);
        lines.push_back(text.substr(at, end == std::string::npos ? std::string::npos : end - at));
        at = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
}

namespace loglines {
inline bool isTimeStamp(const std::string& text) {
    // YYYY/MM/DD-hh:mm:ss.mmm
    static const std::string shape = "dddd/dd/dd-dd:dd:dd.ddd";
    if (text.size() != shape.size()) {
        return false;
    }
    for (size_t i = 0; i < shape.size(); ++i) {
        bool ok = shape[i] == 'd' ? std::isdigit(static_cast<unsigned char>(text[i])) != 0
                                  : text[i] == shape[i];
        if (!ok) {
            return false;
        }
    }
    return true;
}
inline bool isNumber(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}
// Reads the field that starts after `marker` at `at` and ends at `next` (or
// at the end of the line when next is null).
inline bool field(const std::string& raw, size_t& at, const char* marker, const char* next,
                  std::string& out) {
    std::string m = marker;
    if (raw.compare(at, m.size(), m) != 0) {
        return false;
    }
    at += m.size();
    size_t end = next == nullptr ? raw.size() : raw.find(next, at);
    if (end == std::string::npos) {
        return false;
    }
    out = raw.substr(at, end - at);
    at = end;
    return true;
}
}  // namespace loglines

// Splits a log file's text into lines and each line into fields; a line that
// does not have the launcher's layout is returned with only its message set to
// the whole line and an empty time, so a test can say which one it was.
inline std::vector<LogLine> parseLogLines(const std::string& text) {
    using loglines::field;
    std::vector<LogLine> lines;
    for (const std::string& raw : splitLines(text)) {
        LogLine line;
        size_t at = 23;
        bool ok = raw.size() > at && loglines::isTimeStamp(raw.substr(0, at)) &&
                  field(raw, at, ",SYSTEM,0,level=", ",pid=", line.level) &&
                  field(raw, at, ",pid=", ",tid=", line.pid) &&
                  field(raw, at, ",tid=", ",component=", line.tid) &&
                  field(raw, at, ",component=launcher,class=", ",file=", line.className) &&
                  field(raw, at, ",file=", ",line=", line.file) &&
                  field(raw, at, ",line=", ",func=", line.line) &&
                  field(raw, at, ",func=", ",message=", line.function) &&
                  field(raw, at, ",message=", nullptr, line.message) &&
                  loglines::isNumber(line.pid) && loglines::isNumber(line.tid);
        if (ok) {
            line.time = raw.substr(0, 23);
        } else {
            line = LogLine();
            line.message = raw;
        }
        lines.push_back(line);
    }
    return lines;
}
