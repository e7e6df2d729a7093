#include "platform/LauncherException.h"

#include <utility>

LauncherException::LauncherException(int code, std::wstring message)
    : message_(std::move(message)), code_(code) {}

LauncherException::~LauncherException() = default;
