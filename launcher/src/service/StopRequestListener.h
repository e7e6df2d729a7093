#pragma once

#include <memory>

#include "service/ICancellableWait.h"

class ISystemUtils;

// The service routine's handle on the process's one stop request listener; destroying
// it retires the listener (the signal handlers stay, and later signals are ignored).
class StopRequestListener : public ICancellableWait {
  public:
    // Creates the listener, installs its signal handlers and makes it the current one.
    static std::shared_ptr<StopRequestListener> create(ISystemUtils& systemUtils);

    // A stop request to the current listener, if any; safe from any thread, so the
    // JVM's callbacks use it without holding a handle.
    static int requestStop(bool fast);

    int request(bool fast) override;
    int waitForEvent() override;
    ~StopRequestListener() override;

    StopRequestListener(const StopRequestListener&) = delete;
    StopRequestListener& operator=(const StopRequestListener&) = delete;

  private:
    StopRequestListener() = default;
};
