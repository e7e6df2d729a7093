#pragma once

#include <string>
#include <vector>

// Finds the JVM library to load inside a Java home.
class IJavaLibResolver {
  public:
    // Throws LauncherException (code 4) when the home holds no JVM library.
    virtual std::wstring findJvmLibrary(const std::wstring& javaHome) = 0;
    virtual std::vector<std::wstring> getExtraLibraries(const std::wstring& javaHome) = 0;
    virtual bool hasMessage() const = 0;
    virtual const std::wstring& getMessage() const = 0;
    virtual ~IJavaLibResolver() = default;
};
