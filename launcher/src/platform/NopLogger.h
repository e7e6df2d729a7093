#pragma once

#include "platform/ILogger.h"

// The logger in place when no log file is configured: drops everything.
class NopLogger : public ILogger {
  public:
    void log(const std::wstring& level, const wchar_t* className, const wchar_t* fileName, int line,
             const wchar_t* functionName, const std::wstring& message) override;
    void flush() override;

    // The one instance; it lives for the whole process.
    static NopLogger& instance();
};
