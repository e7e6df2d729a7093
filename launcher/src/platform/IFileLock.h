#pragma once

#include <string>

// Exclusive advisory locks on whole files. A locked file belongs to a live process:
// the lock goes with the process however it ends, which the file itself does not.
class IFileLock {
  public:
    enum class DeleteResult { Deleted, Absent, Locked };

    // Opens the file (creating it when absent), locks it, and only then replaces its
    // content. Returns the handle that keeps the lock, or -1 when another owner holds
    // it; the file is then left as it is. Other failures throw LauncherOsException.
    virtual int acquire(const std::wstring& path, const std::string& content) = 0;
    // Whether the path still names the file whose lock the handle keeps; false once
    // it was deleted or replaced by another file.
    virtual bool holdsFileAt(int handle, const std::wstring& path) = 0;
    // Gives the lock up; the file stays.
    virtual void release(int handle) = 0;
    // True when some owner holds the lock on the file; false also when it is absent.
    virtual bool isLocked(const std::wstring& path) = 0;
    // Deletes the file unless an owner holds its lock, so that a file being taken over
    // at the same moment is never deleted under its new owner.
    virtual DeleteResult deleteUnlessLocked(const std::wstring& path) = 0;
    virtual ~IFileLock() = default;
};

// The process-wide file lock of the operating system.
IFileLock& getFileLock();
