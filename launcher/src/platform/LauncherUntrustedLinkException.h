#pragma once

#include "platform/LauncherOsException.h"

// A path that leads through a symbolic link of another user, refused before anything was
// done through it; the file it was meant for may turn it into that file's own error code.
class LauncherUntrustedLinkException : public LauncherOsException {
  public:
    explicit LauncherUntrustedLinkException(std::wstring message);
};
