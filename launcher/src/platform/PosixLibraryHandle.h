#pragma once

#include <string>

#include "platform/ILibraryHandle.h"

// A library opened with dlopen, or the loader's error when opening failed.
class PosixLibraryHandle : public ILibraryHandle {
  public:
    PosixLibraryHandle(void* handle, std::wstring errorText);
    ~PosixLibraryHandle() override;
    PosixLibraryHandle(const PosixLibraryHandle&) = delete;
    PosixLibraryHandle& operator=(const PosixLibraryHandle&) = delete;

    void* getSymbol(const char* name) override;
    bool close() override;
    bool isNull() const override;
    const std::wstring& getErrorText() const override;

  private:
    void* handle_;
    std::wstring errorText_;
};
