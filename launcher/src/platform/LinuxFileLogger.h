#pragma once

#include <cstdio>
#include <mutex>
#include <string>

#include "platform/ILogger.h"

// The launcher log file: rotated to the next free index at every start, one
// line per entry written whole under one lock.
class LinuxFileLogger : public ILogger {
  public:
    explicit LinuxFileLogger(const std::wstring& logPath);
    ~LinuxFileLogger() override;
    LinuxFileLogger(const LinuxFileLogger&) = delete;
    LinuxFileLogger& operator=(const LinuxFileLogger&) = delete;

    void log(const std::wstring& level, const wchar_t* className, const wchar_t* fileName, int line,
             const wchar_t* functionName, const std::wstring& message) override;
    void flush() override;

  private:
    void rotate(const std::string& logPath, const std::wstring& widePath);

    FILE* file_ = nullptr;
};
