#pragma once

#include <cstdint>

// The wrapper that runs the service object in start mode and tracks its state.
class IService {
  public:
    // Runs the service object; the process exit code.
    virtual int32_t run() = 0;
    // Tells a service manager that starting takes up to that much longer.
    virtual void reportStartPending(int32_t waitHintMs) = 0;
    // Once the service's start method has been entered: the service is ready.
    virtual void markStarted() = 0;
    // Tells a service manager that the service is stopping, within that much longer.
    virtual void reportStopPending(int32_t waitHintMs) = 0;
    virtual void markStopped() = 0;
    virtual ~IService() = default;
    virtual bool isDaemon() const = 0;
};

// The service of this process, set once by the entry point; null before that.
void setCurrentService(IService* service);
IService* getCurrentService();
