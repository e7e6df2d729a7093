#pragma once

#include <string>

#include "platform/ILogger.h"
#include "platform/Logger.h"

// Writes one entry to the logger given, not the process one: the logState
// operations take their logger as an argument, so tests can hand them one that
// writes to a file of their own.
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

// Adds " key=value" (", key=value" after the first pair) for pairs known only at run time.
inline void appendLogPair(std::wstring& text, bool first, const std::wstring& key,
                          const std::wstring& value) {
    logdetail::appendPairs(text, first, key, value);
}

#define LOG_INFO_TO(logger, className, ...) \
    logTo(logger, LogLevel::info(), className, __FILE__, __LINE__, __func__, __VA_ARGS__)
#define LOG_WARN_TO(logger, className, ...) \
    logTo(logger, LogLevel::warn(), className, __FILE__, __LINE__, __func__, __VA_ARGS__)
#define LOG_ERROR_TO(logger, className, ...) \
    logTo(logger, LogLevel::error(), className, __FILE__, __LINE__, __func__, __VA_ARGS__)
