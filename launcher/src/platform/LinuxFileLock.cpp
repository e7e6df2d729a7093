#include "platform/LinuxFileLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>

#include "platform/IOsUtilsFactory.h"
#include "platform/ISystemUtils.h"
#include "platform/LauncherOsException.h"
#include "platform/LinuxTrustedPath.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

namespace {

// A lock may be busy for a moment only, while another process checks or deletes the
// file; a launcher that owns it keeps it busy for longer than these retries.
constexpr int kBusyRetries = 20;
constexpr std::chrono::milliseconds kBusyPause{5};
// How often the file may be replaced under us before we give up on it.
constexpr int kReplacedRetries = 50;
// A PID file is a few digits; more is not read.
constexpr size_t kMaxContent = 64;
constexpr mode_t kPidFileMode = 0644;

// Whether the name still means the file behind the descriptor: a file may be deleted,
// and another created in its place, between our open and our lock.
bool namesSameFile(int fd, const LinuxTrustedPath& where) {
    struct stat held {};
    struct stat named {};
    return fstat(fd, &held) == 0 && where.statName(named) && held.st_dev == named.st_dev &&
           held.st_ino == named.st_ino;
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

// Closes the descriptor without losing the error of the call that failed before.
void closeKeepingError(int fd) {
    const int error = errno;
    close(fd);
    errno = error;
}

// A file that is written in place must be this user's own regular file with no other
// name: a hard link planted beside it could otherwise point at any file of the system.
const char* refusalOfExisting(const struct stat& info) {
    if (!S_ISREG(info.st_mode) || info.st_uid != geteuid()) {
        return "IDS_NOT_OWN_REGULAR_FILE";
    }
    return info.st_nlink > 1 ? "IDS_FILE_HAS_OTHER_NAMES" : nullptr;
}

}  // namespace

LinuxFileLock::LinuxFileLock(ISystemUtils& systemUtils) : systemUtils_(systemUtils) {}

int LinuxFileLock::acquire(const std::wstring& path, const std::string& content) {
    int busy = 0;
    for (int replaced = 0; replaced < kReplacedRetries;) {
        const LinuxTrustedPath where(path, "IDS_FILE_WRITE_ERROR");
        auto osFailure = [&] {
            return LauncherOsException(
                formatMessage("IDS_FILE_WRITE_ERROR", path, systemUtils_.getLastErrorText()));
        };
        bool created = true;
        int fd = where.open(O_RDWR | O_CREAT | O_EXCL, kPidFileMode);
        if (fd < 0 && errno == EEXIST) {
            created = false;
            fd = where.open(O_RDWR | O_NONBLOCK);
        }
        if (fd < 0) {
            // Deleted, or a link put there, since we looked: look again.
            if (errno == ENOENT || errno == ELOOP) {
                ++replaced;
                continue;
            }
            throw osFailure();
        }
        struct stat info {};
        if (fstat(fd, &info) != 0) {
            closeKeepingError(fd);
            throw osFailure();
        }
        if (const char* refusal = created ? nullptr : refusalOfExisting(info)) {
            close(fd);
            throw LauncherOsException(formatMessage(refusal, path));
        }
        if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
            closeKeepingError(fd);
            if (errno != EWOULDBLOCK) {
                throw osFailure();
            }
            if (++busy > kBusyRetries) {
                return -1;
            }
            std::this_thread::sleep_for(kBusyPause);
            continue;
        }
        if (!namesSameFile(fd, where)) {
            close(fd);
            ++replaced;
            continue;
        }
        // The umask decides nothing: other users must never be able to rewrite the
        // number that root's stop mode will signal.
        if (fchmod(fd, kPidFileMode) != 0 || !writeAll(fd, content)) {
            closeKeepingError(fd);
            throw osFailure();
        }
        return fd;
    }
    return -1;
}

IFileLock::DeleteResult LinuxFileLock::deleteHeld(int handle, const std::wstring& path) {
    const LinuxTrustedPath where(path, "IDS_CANNOT_DELETE_FILE");
    struct stat named {};
    if (!where.statName(named)) {
        return DeleteResult::Absent;
    }
    if (handle < 0 || !namesSameFile(handle, where)) {
        return DeleteResult::Locked;
    }
    if (unlinkat(where.directory(), where.name().c_str(), 0) != 0) {
        if (errno == ENOENT) {
            return DeleteResult::Absent;
        }
        throw LauncherOsException(
            formatMessage("IDS_CANNOT_DELETE_FILE", path, systemUtils_.getLastErrorText()));
    }
    return DeleteResult::Deleted;
}

void LinuxFileLock::release(int handle) {
    if (handle >= 0) {
        close(handle);
    }
}

IFileLock::Inspection LinuxFileLock::inspect(const std::wstring& path) {
    Inspection found;
    for (int replaced = 0; replaced < kReplacedRetries; ++replaced) {
        const LinuxTrustedPath where(path, nullptr);
        if (where.directory() < 0) {
            // No directory, no file in it.
            if (errno == ENOENT) {
                return found;
            }
            throw LauncherOsException(
                formatMessage("IDS_FILE_READ_ERROR", path, systemUtils_.getLastErrorText()));
        }
        // Non-blocking: a FIFO put at the path must not hold the launcher up.
        const int fd = where.open(O_RDONLY | O_NONBLOCK);
        if (fd < 0) {
            if (errno == ENOENT) {
                return found;
            }
            if (errno == ELOOP) {
                continue;
            }
            throw LauncherOsException(
                formatMessage("IDS_FILE_READ_ERROR", path, systemUtils_.getLastErrorText()));
        }
        found.present = true;
        struct stat info {};
        if (fstat(fd, &info) != 0) {
            closeKeepingError(fd);
            throw LauncherOsException(
                formatMessage("IDS_FILE_READ_ERROR", path, systemUtils_.getLastErrorText()));
        }
        found.device = info.st_dev;
        found.inode = info.st_ino;
        found.directory = S_ISDIR(info.st_mode);
        if (S_ISREG(info.st_mode)) {
            found.regular = true;
            char buffer[kMaxContent + 1];
            const ssize_t n = pread(fd, buffer, sizeof(buffer), 0);
            if (n > 0) {
                found.content.assign(buffer, static_cast<size_t>(n));
            }
            found.holder = lockHolder(info.st_dev, info.st_ino);
        }
        close(fd);
        return found;
    }
    return found;
}

IFileLock::DeleteResult LinuxFileLock::deleteUnlessLocked(const std::wstring& path,
                                                          const Inspection* only) {
    for (int replaced = 0; replaced < kReplacedRetries; ++replaced) {
        const LinuxTrustedPath where(path, "IDS_CANNOT_DELETE_FILE");
        auto osFailure = [&] {
            return LauncherOsException(
                formatMessage("IDS_CANNOT_DELETE_FILE", path, systemUtils_.getLastErrorText()));
        };
        const int fd = where.open(O_RDONLY | O_NONBLOCK);
        if (fd < 0) {
            if (errno == ENOENT) {
                return DeleteResult::Absent;
            }
            if (errno == ELOOP) {
                continue;
            }
            throw osFailure();
        }
        struct stat info {};
        if (only != nullptr &&
            (fstat(fd, &info) != 0 || info.st_dev != only->device || info.st_ino != only->inode)) {
            close(fd);
            return DeleteResult::Replaced;
        }
        if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
            closeKeepingError(fd);
            if (errno == EWOULDBLOCK) {
                return DeleteResult::Locked;
            }
            throw osFailure();
        }
        if (!namesSameFile(fd, where)) {
            close(fd);
            continue;
        }
        // Unlinked while we hold the lock, so whoever opened the file meanwhile finds
        // it gone once the lock is theirs, and creates a new one.
        if (unlinkat(where.directory(), where.name().c_str(), 0) != 0) {
            closeKeepingError(fd);
            if (errno == ENOENT) {
                return DeleteResult::Absent;
            }
            throw osFailure();
        }
        close(fd);
        return DeleteResult::Deleted;
    }
    return DeleteResult::Locked;
}

int32_t LinuxFileLock::lockHolder(dev_t device, ino_t inode) {
    // "1: FLOCK  ADVISORY  WRITE 4711 fe:00:10961282 0 EOF": the kernel writes the
    // process that took the lock, which no other process can change.
    std::ifstream locks("/proc/locks");
    std::string line;
    while (std::getline(locks, line)) {
        std::istringstream fields(line);
        std::string number, kind, advisory, access, id;
        long pid = 0;
        if (!(fields >> number >> kind)) {
            continue;
        }
        if (kind == "->") {
            // A waiter for a lock, not a holder.
            continue;
        }
        if (!(fields >> advisory >> access >> pid >> id) || kind != "FLOCK" || access != "WRITE") {
            continue;
        }
        unsigned int high = 0;
        unsigned int low = 0;
        unsigned long long node = 0;
        if (std::sscanf(id.c_str(), "%x:%x:%llu", &high, &low, &node) == 3 &&
            high == major(device) && low == minor(device) && node == inode && pid > 0) {
            return static_cast<int32_t>(pid);
        }
    }
    return 0;
}

IFileLock& getFileLock() {
    static LinuxFileLock lock(getOsUtilsFactory().getSystemUtils());
    return lock;
}
