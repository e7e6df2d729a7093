#pragma once

#include <string>

// A loaded shared library.
class ILibraryHandle {
  public:
    virtual void* getSymbol(const char* name) = 0;
    virtual bool close() = 0;
    virtual bool isNull() const = 0;
    // The loader's error when loading failed, empty otherwise.
    virtual const std::wstring& getErrorText() const = 0;
    virtual ~ILibraryHandle() = default;
};
