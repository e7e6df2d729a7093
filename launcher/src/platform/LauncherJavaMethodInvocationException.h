#pragma once

#include "platform/LauncherException.h"

// A failure that escaped the thread running a Java contract method, kept apart
// so the service routine can tell the Java side's failures from its own.
class LauncherJavaMethodInvocationException : public LauncherException {
  public:
    LauncherJavaMethodInvocationException(int code, std::wstring message);
    explicit LauncherJavaMethodInvocationException(const LauncherException& cause);
};
