#include "platform/LinuxFileLogger.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/IConsole.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LauncherOsException.h"
#include "platform/LinuxSystemUtils.h"
#include "platform/LinuxTrustedPath.h"
#include "platform/LocalTime.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

namespace {

std::mutex& logMutex() {
    static std::mutex mutex;
    return mutex;
}

constexpr mode_t kLogMode = 0644;
// How many names past the largest index are tried when others appear meanwhile.
constexpr int kRenameTries = 100;

[[noreturn]] void failLog(const std::wstring& message) {
    throw LauncherException(LauncherException::kLogFile, message);
}

std::wstring errorText(int error) {
    return LinuxSystemUtils::errorText(error);
}

struct DirCloser {
    void operator()(DIR* dir) const { closedir(dir); }
};

void appendNumber(std::string& out, long long value) {
    char buffer[24];
    const std::to_chars_result end = std::to_chars(buffer, buffer + sizeof(buffer), value);
    out.append(buffer, end.ptr);
}

void appendText(std::string& out, const wchar_t* text) {
    if (text != nullptr) {
        appendUtf8(out, text);
    }
}

// The rotation index of a directory entry: 0 for the log itself, N for the base name,
// any one character and the decimal digits of N that fit a long; -1 for anything else,
// which is not a log of ours and is left alone.
long rotationIndex(const char* name, const std::string& base) {
    if (base == name) {
        return 0;
    }
    const size_t length = std::strlen(name);
    // The base name, any one character, then at least one digit.
    if (length <= base.size() + 1 || std::strncmp(name, base.c_str(), base.size()) != 0) {
        return -1;
    }
    const char* rest = name + base.size() + 1;
    for (const char* c = rest; *c != '\0'; ++c) {
        if (*c < '0' || *c > '9') {
            return -1;
        }
    }
    errno = 0;
    const long index = std::strtol(rest, nullptr, 10);
    return errno == ERANGE ? -1 : index;
}

}  // namespace

LinuxFileLogger::LinuxFileLogger(const std::wstring& logPath) : path_(logPath) {
    try {
        open(logPath);
    } catch (const LauncherOsException& e) {
        failLog(e.getMessage());
    }
}

void LinuxFileLogger::open(const std::wstring& logPath) {
    // Followed through links of root and of this user only, and every step after this
    // one is taken in the directory that was checked.
    const LinuxTrustedPath where(logPath, "IDS_FILE_CREATION_ERROR");
    rotate(where, logPath);
    // Always a new file: the old one has just been moved away, and a name that has
    // appeared since is nobody's the launcher should append to.
    const int fd = where.open(O_WRONLY | O_APPEND | O_CREAT | O_EXCL, kLogMode);
    if (fd < 0) {
        failLog(formatMessage("IDS_FILE_CREATION_ERROR", logPath, errorText(errno)));
    }
    // The umask decides nothing: other users must not rewrite what the launcher logged.
    if (fchmod(fd, kLogMode) != 0 || (file_ = fdopen(fd, "ab")) == nullptr) {
        const int error = errno;
        close(fd);
        failLog(formatMessage("IDS_FILE_CREATION_ERROR", logPath, errorText(error)));
    }
}

void LinuxFileLogger::rotate(const LinuxTrustedPath& where, const std::wstring& widePath) {
    // A backslash separates too: the rotated names are then looked for in the directory
    // before it, while the log keeps its whole name.
    const std::string& name = where.name();
    const size_t backslash = name.rfind('\\');
    const std::string base = backslash == std::string::npos ? name : name.substr(backslash + 1);
    int scanned = -1;
    if (backslash == std::string::npos) {
        scanned = openat(where.directory(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    } else {
        const std::string directory = where.absolute();
        scanned = ::open(directory.substr(0, directory.size() - name.size() + backslash).c_str(),
                         O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    }
    std::unique_ptr<DIR, DirCloser> dir(scanned < 0 ? nullptr : fdopendir(scanned));
    if (!dir) {
        const int error = errno;
        if (scanned >= 0) {
            close(scanned);
        }
        failLog(formatMessage("IDS_FILE_CREATION_ERROR", widePath, errorText(error)));
    }
    bool logExists = false;
    long largest = 0;
    std::string largestName = name;
    while (dirent* entry = readdir(dir.get())) {
        const long index = rotationIndex(entry->d_name, base);
        if (index == 0) {
            logExists = true;
        }
        if (index > largest) {
            largest = index;
            largestName = entry->d_name;
        }
    }
    dir.reset();
    if (!logExists) {
        return;
    }
    for (int tries = 0; tries < kRenameTries; ++tries) {
        if (largest == LONG_MAX) {
            failLog(formatMessage("IDS_LOG_INDEX_TOO_BIG", widePath, toWide(largestName)));
        }
        const std::string target = name + "." + std::to_string(++largest);
        // Never over a name that exists: whatever appeared there is not ours to replace.
        if (renameat2(where.directory(), name.c_str(), where.directory(), target.c_str(),
                      RENAME_NOREPLACE) == 0) {
            return;
        }
        const int error = errno;
        if (error != EEXIST) {
            failLog(formatMessage("IDS_CANNOT_ROTATE_LOG", widePath,
                                  toWide(where.absolute() + "." + std::to_string(largest)),
                                  errorText(error)));
        }
        largestName = target;
    }
    failLog(formatMessage("IDS_CANNOT_ROTATE_LOG", widePath,
                          toWide(where.absolute() + "." + std::to_string(largest)),
                          errorText(EEXIST)));
}

LinuxFileLogger::~LinuxFileLogger() {
    std::lock_guard<std::mutex> lock(logMutex());
    // The log's own data reach the disk, and only they: syncing every file system of
    // the machine could outlast any stop timeout on a busy host.
    if (std::fflush(file_) != 0 || fsync(fileno(file_)) != 0) {
        reportWriteFailure(errno);
    }
    if (std::fclose(file_) != 0) {
        reportWriteFailure(errno);
    }
    file_ = nullptr;
}

void LinuxFileLogger::reportWriteFailure(int error) {
    if (failureReported_.exchange(true)) {
        return;
    }
    IOsUtilsFactory& os = getOsUtilsFactory();
    std::wstring ignored;
    os.createConsole(std::wstring(), std::wstring(), ignored)
        ->writeErrorLine(formatMessage("IDS_LOG_WRITE_ERROR", path_, errorText(error)));
}

void LinuxFileLogger::log(const std::wstring& level, const wchar_t* className,
                          const wchar_t* fileName, int line, const wchar_t* functionName,
                          const std::wstring& message) {
    // Every piece is converted straight into the one line buffer: a line costs a
    // few thousand instructions, not the tens of thousands that temporary strings
    // and printf would.
    std::string text;
    text.reserve(160 + message.size());
    text += localTimeStamp();
    text += ",SYSTEM,0,level=";
    appendUtf8(text, level);
    text += ",pid=";
    // Asked every time: a launcher that detaches goes on in a process of its own.
    appendNumber(text, static_cast<long long>(getpid()));
    text += ",tid=";
    appendNumber(text, static_cast<long long>(syscall(SYS_gettid)));
    text += ",component=launcher,class=";
    appendText(text, className);
    text += ",file=";
    const size_t fileStart = text.size();
    appendText(text, fileName);
    const size_t slash = text.find_last_of("/\\");
    if (slash != std::string::npos && slash >= fileStart) {
        text.erase(fileStart, slash + 1 - fileStart);
    }
    text += ",line=";
    appendNumber(text, line);
    text += ",func=";
    appendText(text, functionName);
    text += ",message=";
    appendUtf8(text, message);
    text += '\n';

    std::lock_guard<std::mutex> lock(logMutex());
    if (file_ != nullptr && std::fwrite(text.data(), 1, text.size(), file_) < text.size()) {
        reportWriteFailure(errno);
    }
}

void LinuxFileLogger::flush() {
    std::lock_guard<std::mutex> lock(logMutex());
    if (file_ != nullptr && std::fflush(file_) != 0) {
        reportWriteFailure(errno);
    }
}
