#pragma once

#include "service/StopRequestClient.h"

// The stop client for one process on Linux: /proc to see it, signals to reach it.
class LinuxStopRequestClient : public StopRequestClient {
  public:
    LinuxStopRequestClient(IOsUtilsFactory& os, IFileLock& lock, int32_t pid);

    bool isRunning() override;
    ~LinuxStopRequestClient() override;
    std::vector<std::wstring> getCommandLine() override;
    // SIGUSR2 for a fast stop, SIGUSR1 for a simple one.
    int askToStop(bool fast) override;
    int terminateProcess() override;
    int32_t getTargetPid() const override { return pid_; }

  private:
    int32_t pid_;
};
