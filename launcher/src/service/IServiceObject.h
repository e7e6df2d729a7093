#pragma once

#include <cstdint>

class IService;
class LauncherException;

// What a service wrapper runs: the start-mode routine seen from the wrapper.
class IServiceObject {
  public:
    virtual void prepare(IService& service) = 0;
    // The routine itself; the process exit code.
    virtual int32_t run(IService& service) = 0;
    virtual void stop(IService& service) = 0;
    // Reports a failure to the user when the terminal may be gone.
    virtual void exceptionHandler(const LauncherException& exception) = 0;
    virtual ~IServiceObject() = default;
};
