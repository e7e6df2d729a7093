#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

// Exclusive advisory locks on whole files. A locked file belongs to a live process:
// the lock goes with the process however it ends, which the file itself does not.
// Paths are followed through symbolic links of root or of this user only; a link of
// another user on the way makes every operation throw LauncherOsException.
class IFileLock {
  public:
    enum class DeleteResult { Deleted, Absent, Locked, Replaced };

    // What a file holds and who holds its lock, seen through one descriptor.
    struct Inspection {
        bool present = false;
        // Only a regular file is read; anything else at the path is never trusted.
        bool regular = false;
        bool directory = false;
        std::string content;
        // The process that holds the file's exclusive lock, 0 when none does.
        int32_t holder = 0;
        // Which file it was, so that a later step acts on that file or on none.
        dev_t device = 0;
        ino_t inode = 0;
    };

    // Creates the file with mode 0644 (or opens one of this user's), locks it, and only
    // then replaces its content. Returns the handle that keeps the lock, or -1 when
    // another owner holds it; the file is then left as it is. Other failures throw
    // LauncherOsException.
    virtual int acquire(const std::wstring& path, const std::string& content) = 0;
    // Deletes the file whose lock the handle keeps, when the path still names it;
    // Locked when the path names another file by now.
    virtual DeleteResult deleteHeld(int handle, const std::wstring& path) = 0;
    // Gives the lock up; the file stays.
    virtual void release(int handle) = 0;
    virtual Inspection inspect(const std::wstring& path) = 0;
    // Deletes the file unless an owner holds its lock, so that a file being taken over
    // at the same moment is never deleted under its new owner. With `only`, the file
    // must also be the one inspected then (Replaced when it is not).
    virtual DeleteResult deleteUnlessLocked(const std::wstring& path,
                                            const Inspection* only = nullptr) = 0;
    virtual ~IFileLock() = default;
};

// The process-wide file lock of the operating system.
IFileLock& getFileLock();
