#pragma once

#include <string>
#include <vector>

#include "platform/ILogger.h"
#include "platform/SimpleOptional.h"

// The settings of a named service's ini file: a Java home and extra JVM options.
class IServiceInstanceParameters {
  public:
    // Never throws a LauncherException: a missing or unreadable file is only
    // remembered for the log.
    virtual void read() = 0;
    virtual SimpleOptional<std::wstring> getJavaHome() const = 0;
    virtual const std::vector<std::wstring>& getJvmOptions() const = 0;
    virtual void logState(ILogger& logger) const = 0;
    virtual ~IServiceInstanceParameters() = default;
};
