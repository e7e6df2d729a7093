#pragma once

#include <string>

#include "platform/IConsole.h"

// The process's standard output and error, redirected once at construction to
// the --cout/--cerr files (appending) when they are given.
class LinuxConsole : public IConsole {
  public:
    // A redirection that fails leaves its message in errorText instead of
    // throwing; the caller decides what becomes of it.
    LinuxConsole(const std::wstring& coutPath, const std::wstring& cerrPath,
                 std::wstring& errorText);

    void write(const std::wstring& text) override;
    void writeError(const std::wstring& text) override;
    void writeLine(const std::wstring& text) override;
    void writeErrorLine(const std::wstring& text) override;
};
