#pragma once

#include <concepts>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/ILogger.h"
#include "platform/TextConversion.h"

// The process logger: installed once at start-up, replaced by a logger that
// drops everything at shutdown. Log calls before or after go nowhere.
void initLogger(const std::wstring& logPath);
ILogger& getLogger();
void shutdownLogger();
// Only for tests, which install loggers many times in one process: forgets the
// current logger (closing a log file) as if none had been installed.
void resetLoggerForTesting();
// False while log calls go nowhere, so call sites skip building their text.
bool isLoggingEnabled();

namespace LogLevel {
const std::wstring& error();
const std::wstring& warn();
const std::wstring& info();
}  // namespace LogLevel

// Writes a key or value as it stands, or quoted when it holds a line break, ",",
// "=" or a quote, so a line always splits back into its pairs.
void appendQuoted(std::wstring& out, const std::wstring& text);

// The text of a value of any printable type.
inline std::wstring toLogText(const std::wstring& value) {
    return value;
}
inline std::wstring toLogText(const wchar_t* value) {
    return value ? value : L"";
}
inline std::wstring toLogText(const std::string& value) {
    return toWide(value);
}
inline std::wstring toLogText(const char* value) {
    return toWide(value);
}
inline std::wstring toLogText(bool value) {
    return value ? L"true" : L"false";
}
template <std::integral T>
requires(!std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t>) std::wstring
    toLogText(T value) {
    if constexpr (std::is_signed_v<T>) {
        return toText(static_cast<long long>(value));
    } else {
        return toText(static_cast<unsigned long long>(value));
    }
}
// A list is its items separated by ", ", or "empty".
std::wstring toLogText(const std::vector<std::wstring>& values);

namespace logdetail {
inline void appendPairs(std::wstring&, bool) {}
template <typename K, typename V, typename... Rest>
void appendPairs(std::wstring& out, bool first, const K& key, const V& value, const Rest&... rest) {
    out += first ? L" " : L", ";
    appendQuoted(out, toLogText(key));
    out += L'=';
    appendQuoted(out, toLogText(value));
    appendPairs(out, false, rest...);
}
std::wstring widenAscii(const char* text);
}  // namespace logdetail

// One log entry written to the given logger: the message unchanged, then
// " key=value, key=value...". The logState operations take their logger as an
// argument, so tests can hand them one of their own.
template <typename... KeyValues>
void logTo(ILogger& logger, const std::wstring& level, const wchar_t* className,
           const char* fileName, int line, const char* functionName, const std::wstring& message,
           const KeyValues&... keyValues) {
    static_assert(sizeof...(KeyValues) % 2 == 0, "log pairs come as key, value");
    std::wstring text = message;
    logdetail::appendPairs(text, true, keyValues...);
    logger.log(level, className, logdetail::widenAscii(fileName).c_str(), line,
               logdetail::widenAscii(functionName).c_str(), text);
}

// One log entry to the process logger; nothing is built while logging is off.
template <typename... KeyValues>
void logMessage(const std::wstring& level, const wchar_t* className, const char* fileName, int line,
                const char* functionName, const std::wstring& message,
                const KeyValues&... keyValues) {
    if (!isLoggingEnabled()) {
        return;
    }
    logTo(getLogger(), level, className, fileName, line, functionName, message, keyValues...);
}

// Adds " key=value" (", key=value" after the first pair) for pairs known only at run time.
inline void appendLogPair(std::wstring& text, bool first, const std::wstring& key,
                          const std::wstring& value) {
    logdetail::appendPairs(text, first, key, value);
}

// The usual call sites: class name, message, then key/value pairs.
#define LOG_INFO(className, ...) \
    logMessage(LogLevel::info(), className, __FILE__, __LINE__, __func__, __VA_ARGS__)
#define LOG_WARN(className, ...) \
    logMessage(LogLevel::warn(), className, __FILE__, __LINE__, __func__, __VA_ARGS__)
#define LOG_ERROR(className, ...) \
    logMessage(LogLevel::error(), className, __FILE__, __LINE__, __func__, __VA_ARGS__)
#define LOG_INFO_TO(logger, className, ...) \
    logTo(logger, LogLevel::info(), className, __FILE__, __LINE__, __func__, __VA_ARGS__)
#define LOG_WARN_TO(logger, className, ...) \
    logTo(logger, LogLevel::warn(), className, __FILE__, __LINE__, __func__, __VA_ARGS__)
#define LOG_ERROR_TO(logger, className, ...) \
    logTo(logger, LogLevel::error(), className, __FILE__, __LINE__, __func__, __VA_ARGS__)
