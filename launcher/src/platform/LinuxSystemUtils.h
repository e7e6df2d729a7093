#pragma once

#include "platform/ISystemUtils.h"

// Clock, error texts, locale and library loading of a Linux process.
class LinuxSystemUtils : public ISystemUtils {
  public:
    std::wstring getCurrentTimeText() override;
    std::wstring getLastErrorText() override;
    std::wstring getLocaleName() override;
    std::wstring getLanguage() override;
    std::shared_ptr<ILibraryHandle> loadLibrary(const std::wstring& path) override;

    // "(errno) strerror" for a given error number; the other OS utilities use it
    // with the errno they saved right after the failing call.
    static std::wstring errorText(int errorNumber);
};
