#pragma once

#include <string>

// Decides whether a Java home is good enough to run the service.
class IJavaChecker {
  public:
    virtual bool check(const std::wstring& javaHome, int minimalVersion) = 0;
    virtual ~IJavaChecker() = default;
};
