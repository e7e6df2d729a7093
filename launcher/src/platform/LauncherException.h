#pragma once

#include <string>

// A user-facing failure: a finished, localized message and the exit code the
// entry point returns for it.
class LauncherException {
  public:
    // Codes raised across the launcher; the entry point returns them as they are.
    static constexpr int kCommandLine = 1;
    static constexpr int kConfiguration = 2;
    static constexpr int kPidFile = 3;
    static constexpr int kJvmLoad = 4;
    static constexpr int kJni = 5;
    static constexpr int kJavaVersion = 6;
    static constexpr int kContractClass = 7;
    static constexpr int kNoStartMethod = 8;
    static constexpr int kNoStopMethod = 9;
    static constexpr int kLogFile = 10;
    static constexpr int kOs = 20;
    static constexpr int kInternal = 21;

    LauncherException(int code, std::wstring message);
    virtual ~LauncherException();

    const std::wstring& getMessage() const { return message_; }
    int getCode() const { return code_; }

  private:
    std::wstring message_;
    int code_;
};
