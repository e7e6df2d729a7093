#pragma once

#include <map>
#include <string>

#include "platform/ILibraryHandle.h"

// A library with the symbols a test gives it, or, given a loader error, one that
// failed to load.
class FakeLibraryHandle : public ILibraryHandle {
  public:
    explicit FakeLibraryHandle(std::wstring errorText = std::wstring())
        : errorText_(std::move(errorText)) {}

    void* getSymbol(const char* name) override {
        auto found = symbols.find(name);
        return isNull() || found == symbols.end() ? nullptr : found->second;
    }
    bool close() override {
        const bool wasOpen = !isNull();
        closed_ = true;
        return wasOpen;
    }
    bool isNull() const override { return closed_ || !errorText_.empty(); }
    const std::wstring& getErrorText() const override { return errorText_; }

    std::map<std::string, void*> symbols;

  private:
    std::wstring errorText_;
    bool closed_ = false;
};
