#pragma once

#include <memory>
#include <string>

#include "platform/ILibraryHandle.h"

// Clock, errors, locale and library loading.
class ISystemUtils {
  public:
    // Local time as "YYYY/MM/DD-hh:mm:ss.mmm".
    virtual std::wstring getCurrentTimeText() = 0;
    // "(errno) strerror" of the last failed call on this thread.
    virtual std::wstring getLastErrorText() = 0;
    // The locale name without encoding or modifier ("ru_RU"); "en_US" for C/POSIX.
    virtual std::wstring getLocaleName() = 0;
    // The language of the locale ("ru"); "en" for C/POSIX.
    virtual std::wstring getLanguage() = 0;
    // Never throws: a library that failed to load is a null handle with its error.
    virtual std::shared_ptr<ILibraryHandle> loadLibrary(const std::wstring& path) = 0;
    virtual ~ISystemUtils() = default;
};
