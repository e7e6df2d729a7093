#include "platform/LinuxFileLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "platform/IOsUtilsFactory.h"
#include "platform/ISystemUtils.h"
#include "platform/LauncherOsException.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

namespace {

// A lock may be busy for a moment only, while another process checks or deletes the
// file; a launcher that owns it keeps it busy for longer than these retries.
constexpr int kBusyRetries = 20;
constexpr std::chrono::milliseconds kBusyPause{5};
// How often the file may be replaced under us before we give up on it.
constexpr int kReplacedRetries = 50;

// Whether the path still names the file behind the descriptor: a file may be deleted,
// and another created in its place, between our open and our lock.
bool namesSameFile(int fd, const std::string& path) {
    struct stat held {};
    struct stat named {};
    return fstat(fd, &held) == 0 && stat(path.c_str(), &named) == 0 &&
           held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

bool writeAll(int fd, const std::string& content) {
    if (ftruncate(fd, 0) != 0) {
        return false;
    }
    size_t written = 0;
    while (written < content.size()) {
        const ssize_t n = pwrite(fd, content.data() + written, content.size() - written,
                                 static_cast<off_t>(written));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        written += static_cast<size_t>(n);
    }
    return true;
}

// A PID file is a regular file; anything else in its place (a FIFO, a device) is
// neither locked, nor written, nor deleted. The opens do not wait, since a FIFO
// nobody writes to would block them for ever.
void refuseIfNotRegular(int fd, const char* messageId, const std::wstring& path) {
    struct stat info {};
    // A directory fails on its own, with the error that says so.
    if (fstat(fd, &info) != 0 || S_ISREG(info.st_mode) || S_ISDIR(info.st_mode)) {
        return;
    }
    close(fd);
    throw LauncherOsException(
        formatMessage(messageId, path, LocalizationSupport::getText("IDS_NOT_A_REGULAR_FILE")));
}

// Closes the descriptor without losing the error of the call that failed before.
void closeKeepingError(int fd) {
    const int error = errno;
    close(fd);
    errno = error;
}

}  // namespace

LinuxFileLock::LinuxFileLock(ISystemUtils& systemUtils) : systemUtils_(systemUtils) {}

int LinuxFileLock::acquire(const std::wstring& path, const std::string& content) {
    const std::string file = toUtf8(path);
    int busy = 0;
    for (int replaced = 0; replaced < kReplacedRetries;) {
        const int fd = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
        if (fd < 0) {
            throw LauncherOsException(
                formatMessage("IDS_FILE_WRITE_ERROR", path, systemUtils_.getLastErrorText()));
        }
        refuseIfNotRegular(fd, "IDS_FILE_WRITE_ERROR", path);
        if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
            closeKeepingError(fd);
            if (errno != EWOULDBLOCK) {
                throw LauncherOsException(
                    formatMessage("IDS_FILE_WRITE_ERROR", path, systemUtils_.getLastErrorText()));
            }
            if (++busy > kBusyRetries) {
                return -1;
            }
            std::this_thread::sleep_for(kBusyPause);
            continue;
        }
        if (!namesSameFile(fd, file)) {
            close(fd);
            ++replaced;
            continue;
        }
        if (!writeAll(fd, content)) {
            closeKeepingError(fd);
            throw LauncherOsException(
                formatMessage("IDS_FILE_WRITE_ERROR", path, systemUtils_.getLastErrorText()));
        }
        return fd;
    }
    return -1;
}

bool LinuxFileLock::holdsFileAt(int handle, const std::wstring& path) {
    return handle >= 0 && namesSameFile(handle, toUtf8(path));
}

void LinuxFileLock::release(int handle) {
    if (handle >= 0) {
        close(handle);
    }
}

bool LinuxFileLock::isLocked(const std::wstring& path) {
    const std::string file = toUtf8(path);
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        if (errno == ENOENT) {
            return false;
        }
        throw LauncherOsException(
            formatMessage("IDS_FILE_READ_ERROR", path, systemUtils_.getLastErrorText()));
    }
    refuseIfNotRegular(fd, "IDS_FILE_READ_ERROR", path);
    // A shared lock is enough to see an exclusive one, and it is dropped with the
    // descriptor at once.
    if (flock(fd, LOCK_SH | LOCK_NB) != 0) {
        closeKeepingError(fd);
        if (errno != EWOULDBLOCK) {
            throw LauncherOsException(
                formatMessage("IDS_FILE_READ_ERROR", path, systemUtils_.getLastErrorText()));
        }
        return true;
    }
    close(fd);
    return false;
}

IFileLock::DeleteResult LinuxFileLock::deleteUnlessLocked(const std::wstring& path) {
    const std::string file = toUtf8(path);
    for (int replaced = 0; replaced < kReplacedRetries; ++replaced) {
        const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (fd < 0) {
            if (errno == ENOENT) {
                return DeleteResult::Absent;
            }
            throw LauncherOsException(
                formatMessage("IDS_CANNOT_DELETE_FILE", path, systemUtils_.getLastErrorText()));
        }
        refuseIfNotRegular(fd, "IDS_CANNOT_DELETE_FILE", path);
        if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
            closeKeepingError(fd);
            if (errno == EWOULDBLOCK) {
                return DeleteResult::Locked;
            }
            throw LauncherOsException(
                formatMessage("IDS_CANNOT_DELETE_FILE", path, systemUtils_.getLastErrorText()));
        }
        if (!namesSameFile(fd, file)) {
            close(fd);
            continue;
        }
        // Unlinked while we hold the lock, so whoever opened the file meanwhile finds
        // it gone once the lock is theirs, and creates a new one.
        if (unlink(file.c_str()) != 0) {
            closeKeepingError(fd);
            if (errno == ENOENT) {
                return DeleteResult::Absent;
            }
            throw LauncherOsException(
                formatMessage("IDS_CANNOT_DELETE_FILE", path, systemUtils_.getLastErrorText()));
        }
        close(fd);
        return DeleteResult::Deleted;
    }
    return DeleteResult::Locked;
}

IFileLock& getFileLock() {
    static LinuxFileLock lock(getOsUtilsFactory().getSystemUtils());
    return lock;
}
