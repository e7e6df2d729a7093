#pragma once

#include <string>

// The launcher's standard output and error, possibly redirected to files.
class IConsole {
  public:
    virtual void write(const std::wstring& text) = 0;
    virtual void writeError(const std::wstring& text) = 0;
    virtual void writeLine(const std::wstring& text) = 0;
    virtual void writeErrorLine(const std::wstring& text) = 0;
    virtual ~IConsole() = default;
};
