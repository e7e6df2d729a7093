#include "platform/LinuxConsole.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherOsException.h"
#include "platform/LinuxSystemUtils.h"
#include "platform/LinuxTrustedPath.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

namespace {

constexpr mode_t kCreatedMode = 0644;

std::wstring lastError() {
    return LinuxSystemUtils::errorText(errno);
}

// Opens the file for appending onto the stream's descriptor. Never through a link of
// another user, and never into a regular file that has other names: a hard link planted
// in a directory another user owns may be any file of the system. Returns false with
// errno set when the OS refuses; a refusal of ours is left in `refusal` instead.
bool redirect(FILE* stream, const std::wstring& path, std::wstring& refusal) {
    try {
        for (int tries = 0; tries < 3; ++tries) {
            const LinuxTrustedPath where(path, nullptr);
            if (where.directory() < 0) {
                return false;
            }
            int fd = where.open(O_WRONLY | O_APPEND | O_CREAT | O_EXCL, kCreatedMode);
            const bool created = fd >= 0;
            if (!created && errno == EEXIST) {
                fd = where.open(O_WRONLY | O_APPEND);
            }
            if (fd < 0) {
                if (errno == ELOOP || errno == ENOENT) {
                    // A link, or nothing, where there was none a moment ago: look again.
                    continue;
                }
                return false;
            }
            struct stat info {};
            if (fstat(fd, &info) != 0 || (created && fchmod(fd, kCreatedMode) != 0)) {
                const int error = errno;
                close(fd);
                errno = error;
                return false;
            }
            if (S_ISREG(info.st_mode) && info.st_nlink > 1) {
                close(fd);
                refusal = formatMessage("IDS_FILE_HAS_OTHER_NAMES", path);
                return true;
            }
            std::fflush(stream);
            const bool moved = dup2(fd, fileno(stream)) >= 0;
            const int error = errno;
            close(fd);
            errno = error;
            return moved;
        }
        errno = ELOOP;
        return false;
    } catch (const LauncherOsException& e) {
        refusal = e.getMessage();
        return true;
    }
}

}  // namespace

LinuxConsole::LinuxConsole(const std::wstring& coutPath, const std::wstring& cerrPath,
                           std::wstring& errorText) {
    std::wstring refusal;
    if (!coutPath.empty() && coutPath == cerrPath) {
        if (!redirect(stdout, coutPath, refusal)) {
            errorText = formatMessage("IDS_2DESTINATIONS_NOT_ACCESSIBLE", L"--cout", L"--cerr",
                                      coutPath, lastError());
        } else if (!refusal.empty()) {
            errorText = refusal;
        } else {
            // One open file for both, so their lines land in the order written.
            dup2(fileno(stdout), fileno(stderr));
        }
        std::setvbuf(stdout, nullptr, _IONBF, 0);
        std::setvbuf(stderr, nullptr, _IONBF, 0);
        return;
    }
    if (!coutPath.empty()) {
        if (!redirect(stdout, coutPath, refusal)) {
            // No OS error text here, unlike --cerr below: scripts that watch
            // for these messages match both exactly as they stand.
            errorText = formatMessage("IDS_DESTINATION_IS_NOT_ACCESSIBLE", L"--cout", coutPath);
        } else if (!refusal.empty()) {
            errorText = refusal;
        }
        std::setvbuf(stdout, nullptr, _IONBF, 0);
    }
    if (!cerrPath.empty()) {
        refusal.clear();
        if (!redirect(stderr, cerrPath, refusal)) {
            errorText = formatMessage("IDS_DESTINATION_IS_NOT_ACCESSIBLE_EX", L"--cerr", cerrPath,
                                      lastError());
        } else if (!refusal.empty()) {
            errorText = refusal;
        }
        std::setvbuf(stderr, nullptr, _IONBF, 0);
    }
}

void LinuxConsole::write(const std::wstring& text) {
    std::fputs(toUtf8(text).c_str(), stdout);
}

void LinuxConsole::writeError(const std::wstring& text) {
    std::fputs(toUtf8(text).c_str(), stderr);
}

void LinuxConsole::writeLine(const std::wstring& text) {
    write(text + getOsUtilsFactory().getLineSeparator());
}

void LinuxConsole::writeErrorLine(const std::wstring& text) {
    writeError(text + getOsUtilsFactory().getLineSeparator());
}
