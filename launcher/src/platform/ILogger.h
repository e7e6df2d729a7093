#pragma once

#include <string>

// A destination for log lines.
class ILogger {
  public:
    virtual void log(const std::wstring& level, const wchar_t* className, const wchar_t* fileName,
                     int line, const wchar_t* functionName, const std::wstring& message) = 0;
    virtual void flush() = 0;
    virtual ~ILogger() = default;
};
