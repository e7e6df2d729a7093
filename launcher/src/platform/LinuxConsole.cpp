#include "platform/LinuxConsole.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/IOsUtilsFactory.h"
#include "platform/LinuxSystemUtils.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

namespace {

std::wstring lastError() {
    return LinuxSystemUtils::errorText(errno);
}

}  // namespace

LinuxConsole::LinuxConsole(const std::wstring& coutPath, const std::wstring& cerrPath,
                           std::wstring& errorText) {
    if (!coutPath.empty() && coutPath == cerrPath) {
        if (std::freopen(toUtf8(coutPath).c_str(), "a", stdout) == nullptr) {
            errorText = formatMessage("IDS_2DESTINATIONS_NOT_ACCESSIBLE", L"--cout", L"--cerr",
                                      coutPath, lastError());
        }
        // One open file for both, so their lines land in the order written.
        dup2(fileno(stdout), fileno(stderr));
        std::setvbuf(stdout, nullptr, _IONBF, 0);
        std::setvbuf(stderr, nullptr, _IONBF, 0);
        return;
    }
    if (!coutPath.empty()) {
        if (std::freopen(toUtf8(coutPath).c_str(), "a", stdout) == nullptr) {
            // No OS error text here, unlike --cerr below: scripts that watch
            // for these messages match both exactly as they stand.
            errorText = formatMessage("IDS_DESTINATION_IS_NOT_ACCESSIBLE", L"--cout", coutPath);
        }
        std::setvbuf(stdout, nullptr, _IONBF, 0);
    }
    if (!cerrPath.empty()) {
        if (std::freopen(toUtf8(cerrPath).c_str(), "a", stderr) == nullptr) {
            errorText = formatMessage("IDS_DESTINATION_IS_NOT_ACCESSIBLE_EX", L"--cerr", cerrPath,
                                      lastError());
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
