#pragma once

#include <map>
#include <string>

#include "platform/ILibraryHandle.h"

// A library with the symbols a test gives it, or one that failed to load.
class FakeLibraryHandle : public ILibraryHandle {
  public:
    FakeLibraryHandle() = default;
    // A library that failed to load with the given loader error.
    explicit FakeLibraryHandle(std::wstring errorText)
        : loaded(false), errorText(std::move(errorText)) {}

    void* getSymbol(const char* name) override {
        auto found = symbols.find(name);
        return loaded && found != symbols.end() ? found->second : nullptr;
    }
    bool close() override {
        if (!loaded) {
            return false;
        }
        loaded = false;
        ++closeCount;
        return true;
    }
    bool isNull() const override { return !loaded; }
    const std::wstring& getErrorText() const override { return errorText; }

    bool loaded = true;
    std::wstring errorText;
    std::map<std::string, void*> symbols;
    int closeCount = 0;
};
