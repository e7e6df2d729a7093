#pragma once

#include "platform/IFileLock.h"

class ISystemUtils;

// flock(2) locks, held through descriptors that are closed on exec so that a child
// process never inherits the lock.
class LinuxFileLock : public IFileLock {
  public:
    explicit LinuxFileLock(ISystemUtils& systemUtils);

    int acquire(const std::wstring& path, const std::string& content) override;
    bool holdsFileAt(int handle, const std::wstring& path) override;
    void release(int handle) override;
    bool isLocked(const std::wstring& path) override;
    DeleteResult deleteUnlessLocked(const std::wstring& path) override;

  private:
    ISystemUtils& systemUtils_;
};
