#include "platform/PosixLibraryHandle.h"

#include <dlfcn.h>

#include <utility>

PosixLibraryHandle::PosixLibraryHandle(void* handle, std::wstring errorText)
    : handle_(handle), errorText_(std::move(errorText)) {}

PosixLibraryHandle::~PosixLibraryHandle() {
    close();
}

void* PosixLibraryHandle::getSymbol(const char* name) {
    // dlsym with a null handle would search every loaded library instead.
    if (handle_ == nullptr) {
        return nullptr;
    }
    // A stale error from an earlier call would make a found symbol look missing.
    dlerror();
    void* address = dlsym(handle_, name);
    if (dlerror() != nullptr) {
        return nullptr;
    }
    return address;
}

bool PosixLibraryHandle::close() {
    if (handle_ == nullptr) {
        return false;
    }
    int result = dlclose(handle_);
    handle_ = nullptr;
    return result == 0;
}

bool PosixLibraryHandle::isNull() const {
    return handle_ == nullptr;
}

const std::wstring& PosixLibraryHandle::getErrorText() const {
    return errorText_;
}
