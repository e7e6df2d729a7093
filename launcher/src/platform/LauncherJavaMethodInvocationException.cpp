#include "platform/LauncherJavaMethodInvocationException.h"

#include <utility>

LauncherJavaMethodInvocationException::LauncherJavaMethodInvocationException(int code,
                                                                             std::wstring message)
    : LauncherException(code, std::move(message)) {}

LauncherJavaMethodInvocationException::LauncherJavaMethodInvocationException(
    const LauncherException& cause)
    : LauncherException(cause.getCode(), cause.getMessage()) {}
