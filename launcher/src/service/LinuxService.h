#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "service/IService.h"

class IOsUtilsFactory;
class IServiceObject;

// Runs the start-mode service object once, in the foreground or detached from the
// terminal, and turns its failures into exit codes.
class LinuxService : public IService {
  public:
    static constexpr uint32_t kNotStarted = 0;
    static constexpr uint32_t kRunning = 1;
    static constexpr uint32_t kStopping = 2;
    static constexpr uint32_t kStopped = 3;

    // daemonize: detach from the terminal first; the command returns once the PID file
    // is written, or with waitForStart once the service's start method was entered.
    LinuxService(IServiceObject& serviceObject, bool daemonize, bool waitForStart,
                 IOsUtilsFactory& os);

    int32_t run() override;
    void reportStartPending(int32_t waitHintMs) override;
    void markStarted() override;
    void reportStopPending(int32_t waitHintMs) override;
    void markStopped() override;
    ~LinuxService() override;
    bool isDaemon() const override;

    int32_t start();
    // Hands a stop request to the service object while it runs; harmless otherwise.
    void stop();
    uint32_t getState() const { return state_.load(); }

  private:
    void notifyServiceManager(const std::wstring& message);

    IServiceObject& serviceObject_;
    std::atomic<uint32_t> state_{kNotStarted};
    bool daemonize_;
    bool waitForStart_;
    IOsUtilsFactory& os_;
    std::atomic<bool> readyReported_{false};
};
