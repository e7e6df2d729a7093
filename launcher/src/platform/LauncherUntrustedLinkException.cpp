#include "platform/LauncherUntrustedLinkException.h"

#include <utility>

LauncherUntrustedLinkException::LauncherUntrustedLinkException(std::wstring message)
    : LauncherOsException(std::move(message)) {}
