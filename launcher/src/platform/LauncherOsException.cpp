#include "platform/LauncherOsException.h"

#include <utility>

LauncherOsException::LauncherOsException(std::wstring message)
    : LauncherException(kOs, std::move(message)) {}
