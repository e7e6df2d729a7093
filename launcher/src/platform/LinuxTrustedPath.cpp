#include "platform/LinuxTrustedPath.h"

#include <fcntl.h>
#include <limits.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <deque>

#include "platform/LauncherOsException.h"
#include "platform/LauncherUntrustedLinkException.h"
#include "platform/LinuxSystemUtils.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

namespace {

// As many links as the kernel follows in one path.
constexpr int kMaxLinks = 40;

std::string directoryPath(int fd) {
    char target[PATH_MAX] = {};
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    const ssize_t length = readlink(link.c_str(), target, sizeof(target) - 1);
    return length > 0 ? std::string(target, static_cast<size_t>(length)) : std::string();
}

void splitInto(std::deque<std::string>& parts, const std::string& path) {
    std::deque<std::string> found;
    size_t start = 0;
    while (start <= path.size()) {
        size_t end = path.find('/', start);
        if (end == std::string::npos) {
            end = path.size();
        }
        std::string part = path.substr(start, end - start);
        if (!part.empty() && part != ".") {
            found.push_back(std::move(part));
        }
        start = end + 1;
    }
    parts.insert(parts.begin(), found.begin(), found.end());
}

int openRoot(bool absolute) {
    return ::open(absolute ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC);
}

}  // namespace

LinuxTrustedPath::LinuxTrustedPath(const std::wstring& path, const char* errorId) {
    const std::string utf8 = toUtf8(path);
    std::deque<std::string> parts;
    splitInto(parts, utf8);
    directory_ = openRoot(!utf8.empty() && utf8[0] == '/');
    int links = 0;
    // No destructor runs after a constructor throws: the directory is closed here.
    auto closeDirectory = [&] {
        if (directory_ >= 0) {
            close(directory_);
            directory_ = -1;
        }
    };
    auto fail = [&](const std::wstring& message) {
        closeDirectory();
        throw LauncherOsException(message);
    };
    // Without an errorId the path is left unresolved instead, with errno set.
    auto osFailed = [&] {
        const int error = errno;
        if (errorId != nullptr) {
            fail(formatMessage(errorId, path, LinuxSystemUtils::errorText(error)));
        }
        closeDirectory();
        errno = error;
    };
    if (directory_ < 0) {
        osFailed();
        return;
    }
    while (!parts.empty()) {
        const std::string part = parts.front();
        parts.pop_front();
        struct stat info {};
        if (part != ".." && fstatat(directory_, part.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISLNK(info.st_mode)) {
            if (!isTrustedOwner(info.st_uid)) {
                const std::string link = directoryPath(directory_) + "/" + part;
                closeDirectory();
                throw LauncherUntrustedLinkException(
                    formatMessage("IDS_UNTRUSTED_LINK", path, toWide(link)));
            }
            // The kernel's own links, such as /proc/self/fd/1 behind /dev/stdout, may name
            // a pipe or a socket rather than a path: only opening them reaches it.
            struct statfs filesystem {};
            if (parts.empty() && fstatfs(directory_, &filesystem) == 0 &&
                filesystem.f_type == PROC_SUPER_MAGIC) {
                name_ = part;
                followName_ = true;
                break;
            }
            char target[PATH_MAX] = {};
            const ssize_t length = readlinkat(directory_, part.c_str(), target, sizeof(target) - 1);
            if (length <= 0 || ++links > kMaxLinks) {
                if (length > 0) {
                    errno = ELOOP;
                }
                osFailed();
                return;
            }
            splitInto(parts, std::string(target, static_cast<size_t>(length)));
            if (target[0] == '/') {
                close(directory_);
                directory_ = openRoot(true);
            }
            continue;
        }
        if (parts.empty() && part != "..") {
            name_ = part;
            break;
        }
        // O_NOFOLLOW with O_PATH opens a link itself, which O_DIRECTORY then refuses: a
        // directory swapped for a link since the look above is never entered.
        const int next =
            openat(directory_, part.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (next < 0) {
            osFailed();
            return;
        }
        close(directory_);
        directory_ = next;
    }
    if (name_.empty()) {
        name_ = ".";
    }
}

LinuxTrustedPath::~LinuxTrustedPath() {
    if (directory_ >= 0) {
        close(directory_);
    }
}

std::string LinuxTrustedPath::absolute() const {
    std::string directory = directoryPath(directory_);
    if (directory.empty() || directory.back() != '/') {
        directory += '/';
    }
    return name_ == "." ? directory : directory + name_;
}

int LinuxTrustedPath::open(int flags, mode_t mode) const {
    return openat(directory_, name_.c_str(), flags | (followName_ ? 0 : O_NOFOLLOW) | O_CLOEXEC,
                  mode);
}

bool LinuxTrustedPath::statName(struct stat& info) const {
    return fstatat(directory_, name_.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
}

bool LinuxTrustedPath::isTrustedOwner(uid_t owner) {
    return owner == 0 || owner == geteuid();
}
