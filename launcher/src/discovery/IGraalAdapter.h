#pragma once

#include <string>

// An isolate thread of the inventory library; opaque to the launcher.
struct GraalIsolateThread;

// Loads a native-image library and manages the isolates its calls need.
// Failures are kept as text in getLastError(), never thrown.
class IGraalAdapter {
  public:
    virtual void init() = 0;
    // Null when the isolate cannot be created.
    virtual GraalIsolateThread* createIsolateAndAttache() = 0;
    virtual void tearDownIsolate(GraalIsolateThread* thread) = 0;
    // Null (with the error kept) when the library lacks the symbol.
    virtual void* getFunction(const char* name) = 0;
    virtual const std::wstring& getLibraryPath() const = 0;
    virtual const std::wstring& getLastError() const = 0;
    virtual ~IGraalAdapter() = default;
};
