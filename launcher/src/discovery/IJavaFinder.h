#pragma once

#include <string>

// A guessed Java home and where it came from.
struct FoundJavaHome {
    // Empty when nothing suitable was found.
    std::wstring javaHome;
    // True only when the home is the JAVA_HOME environment variable, which the
    // caller announces to the user.
    bool fromEnvironment = false;
};

// Guesses a Java home when none is given explicitly.
class IJavaFinder {
  public:
    virtual FoundJavaHome findJavaHome(int minimalVersion) = 0;
    // The inventory library's last error, empty while it worked.
    virtual const std::wstring& getLastError() const = 0;
    virtual ~IJavaFinder() = default;
};
