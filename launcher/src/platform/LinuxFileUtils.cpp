#include "platform/LinuxFileUtils.h"

#include <dirent.h>
#include <fcntl.h>
#include <libgen.h>
#include <limits.h>
#include <regex.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/LauncherOsException.h"
#include "platform/LinuxSystemUtils.h"
#include "platform/LinuxTrustedPath.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

namespace {

constexpr size_t kPathBufferSize = 4096;

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

struct DirCloser {
    void operator()(DIR* dir) const { closedir(dir); }
};
using DirPtr = std::unique_ptr<DIR, DirCloser>;

// The OS error text of the call that has just failed; take it before anything
// else can touch errno.
std::wstring lastError() {
    return LinuxSystemUtils::errorText(errno);
}

[[noreturn]] void throwOs(const char* id, const std::wstring& path, const std::wstring& error) {
    throw LauncherOsException(formatMessage(id, path, error));
}

// A descriptor of the file open for reading, or an exception. A FIFO, socket or
// device in the place of a file is refused before anything is read from it: a
// FIFO nobody writes to would block the open and the read for ever, so the open
// does not wait, and the descriptor is checked before its first read.
int openRegularFile(const std::string& utf8, const std::wstring& path, struct stat& info) {
    const int fd = open(utf8.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        throwOs("IDS_FILE_READ_ERROR", path, lastError());
    }
    if (fstat(fd, &info) != 0) {
        std::wstring error = lastError();
        close(fd);
        throwOs("IDS_FILE_READ_ERROR", path, error);
    }
    if (!S_ISREG(info.st_mode)) {
        close(fd);
        throwOs("IDS_FILE_READ_ERROR", path,
                S_ISDIR(info.st_mode) ? LinuxSystemUtils::errorText(EISDIR)
                                      : LocalizationSupport::getText("IDS_NOT_A_REGULAR_FILE"));
    }
    return fd;
}

// Reads up to size bytes; fewer only at the end of the file or on an error.
size_t readUpTo(int fd, char* buffer, size_t size) {
    size_t done = 0;
    while (done < size) {
        const ssize_t got = read(fd, buffer + done, size - done);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        done += static_cast<size_t>(got);
    }
    return done;
}

struct FdCloser {
    int fd;
    ~FdCloser() { close(fd); }
};

std::string parentOf(const std::string& path) {
    std::string copy = path;
    return dirname(copy.data());
}

// A compiled mask, freed on every way out.
class CompiledMask {
  public:
    CompiledMask(const std::string& expression, bool& ok) {
        ok = regcomp(&regex_, expression.c_str(), 0) == 0;
        compiled_ = ok;
    }
    ~CompiledMask() {
        if (compiled_) {
            regfree(&regex_);
        }
    }
    CompiledMask(const CompiledMask&) = delete;
    CompiledMask& operator=(const CompiledMask&) = delete;
    bool matches(const char* name) const { return regexec(&regex_, name, 0, nullptr, 0) == 0; }

  private:
    regex_t regex_{};
    bool compiled_ = false;
};

}  // namespace

void LinuxFileUtils::createDirectories(const std::wstring& path) {
    std::string utf8 = toUtf8(path);
    std::string parent = parentOf(utf8);
    // Directories right under "." or "/" are expected to exist already; creating
    // them here would hide a mistyped instance or log location.
    if (parent == "." || parent == "/") {
        return;
    }
    createDirectories(toWide(parent));
    if (exists(path)) {
        return;
    }
    // Made in the parent as checked, never under a link another user put on the way.
    const LinuxTrustedPath where(path, "IDS_UNABLE_TO_RESOLVE_PATH");
    if (mkdirat(where.directory(), where.name().c_str(), 0777) != 0 && errno != EEXIST) {
        throwOs("IDS_UNABLE_TO_RESOLVE_PATH", path, lastError());
    }
}

void LinuxFileUtils::createParentDirectories(const std::wstring& filePath) {
    size_t slash = filePath.rfind(L'/');
    if (slash != std::wstring::npos) {
        createDirectories(filePath.substr(0, slash));
    }
}

std::wstring LinuxFileUtils::prepareFileForAppend(const std::wstring& path) {
    // Only looks, and creates nothing: a file created and deleted again to see whether
    // it could be would let a name swapped in between decide what is deleted. Opening
    // for real is left to the writer, which never follows another user's link.
    const std::string utf8 = toUtf8(path);
    struct stat info {};
    if (stat(utf8.c_str(), &info) == 0) {
        if (S_ISDIR(info.st_mode)) {
            errno = EISDIR;
            throwOs("IDS_FILE_READ_ERROR", path, lastError());
        }
        if (access(utf8.c_str(), W_OK) != 0) {
            throwOs("IDS_FILE_READ_ERROR", path, lastError());
        }
        return toAbsolutePath(path);
    }
    if (errno != ENOENT) {
        throwOs("IDS_FILE_READ_ERROR", path, lastError());
    }
    // Absent: its directory has to take a new file.
    const size_t slash = utf8.rfind('/');
    const std::string directory =
        slash == std::string::npos ? "." : (slash == 0 ? "/" : utf8.substr(0, slash));
    if (access(directory.c_str(), W_OK | X_OK) != 0) {
        throwOs("IDS_FILE_READ_ERROR", path, lastError());
    }
    std::wstring absolute = toAbsolutePath(toWide(directory));
    if (absolute.empty() || absolute.back() != L'/') {
        absolute += L'/';
    }
    return absolute + toWide(slash == std::string::npos ? utf8 : utf8.substr(slash + 1));
}

std::wstring LinuxFileUtils::toAbsolutePath(const std::wstring& path) {
    char resolved[kPathBufferSize] = {};
    if (realpath(toUtf8(path).c_str(), resolved) == nullptr) {
        throwOs("IDS_UNABLE_TO_CONVERT_PATH_TO_ABS", path, lastError());
    }
    return toWide(resolved);
}

int LinuxFileUtils::getElfClass(const std::wstring& libraryPath) {
    struct stat info {};
    FdCloser file{openRegularFile(toUtf8(libraryPath), libraryPath, info)};
    unsigned char ident[16] = {};
    const size_t read = readUpTo(file.fd, reinterpret_cast<char*>(ident), sizeof(ident));
    if (read < sizeof(ident) || ident[0] != 0x7F || ident[1] != 'E' || ident[2] != 'L' ||
        ident[3] != 'F') {
        throw LauncherOsException(formatMessage("IDS_DLL_NOT_ELF", libraryPath));
    }
    switch (ident[4]) {
        case 1:
            return 0;
        case 2:
            return 1;
        default:
            throw LauncherOsException(formatMessage("IDS_DLL_UNKNOWN_BINTYPE", libraryPath));
    }
}

wchar_t LinuxFileUtils::getPathListSeparator() const {
    return L':';
}

bool LinuxFileUtils::exists(const std::wstring& path) {
    struct stat info {};
    if (stat(toUtf8(path).c_str(), &info) == 0) {
        return true;
    }
    if (errno == ENOENT) {
        return false;
    }
    // Anything else (a file where a directory should be, no permission) means
    // the answer is unknown, and guessing either way misleads the caller.
    throwOs("IDS_FILE_READ_ERROR", path, lastError());
}

bool LinuxFileUtils::isDirectory(const std::wstring& path) {
    struct stat info {};
    return stat(toUtf8(path).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool LinuxFileUtils::deleteFile(const std::wstring& path) {
    if (unlink(toUtf8(path).c_str()) == 0) {
        return true;
    }
    if (errno == ENOENT) {
        return false;
    }
    throwOs("IDS_CANNOT_DELETE_FILE", path, lastError());
}

std::unique_ptr<FileContent> LinuxFileUtils::readFile(const std::wstring& path) {
    struct stat info {};
    FdCloser file{openRegularFile(toUtf8(path), path, info)};
    size_t size = static_cast<size_t>(info.st_size);
    if (size > kMaxFileSize) {
        throw LauncherOsException(formatMessage("IDS_FILE_TOO_BIG", path));
    }
    auto content = std::make_unique<FileContent>(path, size);
    errno = 0;
    if (readUpTo(file.fd, content->data(), size) < size) {
        throwOs("IDS_FILE_READ_ERROR", path, lastError());
    }
    return content;
}

void LinuxFileUtils::writeFile(const char* data, size_t size, const std::wstring& path) {
    FilePtr file(std::fopen(toUtf8(path).c_str(), "w"));
    if (!file) {
        throwOs("IDS_FILE_WRITE_ERROR", path, lastError());
    }
    if (std::fwrite(data, 1, size, file.get()) < size) {
        throwOs("IDS_FILE_WRITE_ERROR", path, lastError());
    }
}

std::vector<std::wstring> LinuxFileUtils::listFiles(const std::wstring& directory,
                                                    const std::wstring& mask) {
    std::vector<std::wstring> found;
    const std::wstring slashed = replaceChar(directory, L'\\', L'/');
    const std::string utf8Directory = toUtf8(slashed);
    struct stat info {};
    if (stat(utf8Directory.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        return found;
    }

    char resolved[kPathBufferSize] = {};
    if (realpath(utf8Directory.c_str(), resolved) == nullptr) {
        throwOs("IDS_FILE_READ_ERROR", slashed, lastError());
    }
    std::string prefix = resolved;
    if (prefix.empty() || prefix.back() != '/') {
        prefix += '/';
    }

    // The mask is a basic regular expression in which "*" stands for any run;
    // it is deliberately not anchored, so "launcher.log" also finds the rotated
    // "launcher.log.3".
    std::string expression;
    for (char c : toUtf8(mask)) {
        if (c == '*') {
            expression += ".*";
        } else {
            expression += c;
        }
    }
    if (expression.empty()) {
        expression = ".*";
    }
    bool compiled = false;
    CompiledMask compiledMask(expression, compiled);
    if (!compiled) {
        throwOs("IDS_FILE_READ_ERROR", mask, lastError());
    }

    DirPtr dir(opendir(utf8Directory.c_str()));
    if (!dir) {
        if (errno == ENOENT) {
            return found;
        }
        throwOs("IDS_FILE_READ_ERROR", slashed, lastError());
    }
    while (dirent* entry = readdir(dir.get())) {
        std::string entryPath = prefix + entry->d_name;
        struct stat entryInfo {};
        if (lstat(entryPath.c_str(), &entryInfo) != 0) {
            std::wstring error = lastError();
            dir.reset();
            throwOs("IDS_FILE_READ_ERROR", toWide(entryPath), error);
        }
        if (S_ISDIR(entryInfo.st_mode)) {
            continue;
        }
        if (compiledMask.matches(entry->d_name)) {
            found.push_back(toWide(entryPath));
        }
    }
    return found;
}
