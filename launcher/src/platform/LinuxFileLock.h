#pragma once

#include "platform/IFileLock.h"

class ISystemUtils;

// flock(2) locks, held through descriptors that are closed on exec so that a child
// process never inherits the lock. The holder of a lock is read from /proc/locks,
// where the kernel names the process that took it.
class LinuxFileLock : public IFileLock {
  public:
    explicit LinuxFileLock(ISystemUtils& systemUtils);

    int acquire(const std::wstring& path, const std::string& content) override;
    DeleteResult deleteHeld(int handle, const std::wstring& path) override;
    void release(int handle) override;
    Inspection inspect(const std::wstring& path) override;
    DeleteResult deleteUnlessLocked(const std::wstring& path, const Inspection* only) override;

    // The process holding an exclusive flock on that file, 0 when none.
    static int32_t lockHolder(dev_t device, ino_t inode);

  private:
    ISystemUtils& systemUtils_;
};
