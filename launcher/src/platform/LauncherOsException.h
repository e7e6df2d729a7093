#pragma once

#include "platform/LauncherException.h"

// A failed operating-system call made through the OS utilities.
class LauncherOsException : public LauncherException {
  public:
    explicit LauncherOsException(std::wstring message);
};
