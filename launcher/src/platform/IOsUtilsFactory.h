#pragma once

#include <memory>
#include <string>

#include "platform/IConsole.h"
#include "platform/IFileUtils.h"
#include "platform/IProcessUtils.h"
#include "platform/IServiceManagerNotifier.h"
#include "platform/ISystemUtils.h"

// The one way to the operating system.
class IOsUtilsFactory {
  public:
    virtual IFileUtils& getFileUtils() = 0;
    virtual IProcessUtils& getProcessUtils() = 0;
    virtual ISystemUtils& getSystemUtils() = 0;
    // Taken from the environment when the factory is made, before any JVM exists.
    virtual IServiceManagerNotifier& getServiceManagerNotifier() = 0;
    virtual const std::wstring& getLineSeparator() const = 0;
    // Redirects the standard streams to the given files (empty = leave as is);
    // a redirection that fails is reported in errorText, not thrown.
    virtual std::unique_ptr<IConsole> createConsole(const std::wstring& coutPath,
                                                    const std::wstring& cerrPath,
                                                    std::wstring& errorText) = 0;
    virtual ~IOsUtilsFactory() = default;
};

// The process-wide factory (the Linux one), created on first use.
IOsUtilsFactory& getOsUtilsFactory();
