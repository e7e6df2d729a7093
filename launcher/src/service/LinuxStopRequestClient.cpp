#include "service/LinuxStopRequestClient.h"

#include <signal.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherOsException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

namespace {
const wchar_t* const kClass = L"LinuxStopRequestClient";

std::wstring procPath(int32_t pid, const wchar_t* entry) {
    return L"/proc/" + toText(static_cast<long>(pid)) + L"/" + entry;
}

// Read directly: /proc reports a size of 0 for its files, which a read of the
// stated size would take at its word. False when the file cannot be opened.
bool readProcEntry(const std::wstring& path, std::string& bytes) {
    std::ifstream file(toUtf8(path), std::ios::binary);
    if (!file) {
        return false;
    }
    bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    return true;
}

// "State:\tZ (zombie)": the process has ended and waits only for its parent to
// collect it, which a container's first process may never do.
bool hasEnded(const std::string& status) {
    const size_t state = status.find("\nState:");
    if (state == std::string::npos) {
        return false;
    }
    const size_t letter = status.find_first_not_of(" \t", state + 7);
    return letter != std::string::npos && (status[letter] == 'Z' || status[letter] == 'X');
}

// The kernel's own threads take no signal from anyone: one named as the target would
// seem to be signalled and then never end.
bool isKernelThread(int32_t pid) {
    constexpr unsigned long kKernelThreadFlag = 0x00200000;  // PF_KTHREAD
    std::string stat;
    if (!readProcEntry(procPath(pid, L"stat"), stat)) {
        return false;
    }
    // "pid (name) state ppid pgrp session tty tpgid flags ...": the name may hold
    // anything, so the fields are counted from its closing parenthesis.
    const size_t nameEnd = stat.rfind(')');
    if (nameEnd == std::string::npos) {
        return false;
    }
    std::istringstream fields(stat.substr(nameEnd + 1));
    std::string skipped;
    for (int field = 0; field < 6; ++field) {
        fields >> skipped;
    }
    unsigned long flags = 0;
    return static_cast<bool>(fields >> flags) && (flags & kKernelThreadFlag) != 0;
}
}  // namespace

LinuxStopRequestClient::LinuxStopRequestClient(IOsUtilsFactory& os, IFileLock& lock, int32_t pid)
    : StopRequestClient(os, lock), pid_(pid) {}

LinuxStopRequestClient::~LinuxStopRequestClient() = default;

bool LinuxStopRequestClient::isRunning() {
    const std::wstring path = procPath(pid_, L"status");
    if (!os_.getFileUtils().exists(path)) {
        return false;
    }
    std::string status;
    // Gone between the two looks: it ended.
    return readProcEntry(path, status) && !hasEnded(status);
}

std::vector<std::wstring> LinuxStopRequestClient::getCommandLine() {
    const std::wstring path = procPath(pid_, L"cmdline");
    std::vector<std::wstring> args;
    try {
        std::string bytes;
        if (!readProcEntry(path, bytes)) {
            throw LauncherOsException(formatMessage("IDS_FILE_READ_ERROR", path,
                                                    os_.getSystemUtils().getLastErrorText()));
        }
        size_t start = 0;
        while (start < bytes.size()) {
            size_t end = bytes.find('\0', start);
            if (end == std::string::npos) {
                end = bytes.size();
            }
            args.push_back(toWide(bytes.substr(start, end - start)));
            start = end + 1;
        }
        LOG_INFO(kClass, L"Obtained command line", L"parsedArgs", args, L"cmdArgsNo", args.size());
    } catch (const LauncherException& e) {
        LOG_INFO(kClass, L"Failed to obtain command line", L"exception", e.getMessage());
        args.clear();
    }
    return args;
}

int LinuxStopRequestClient::askToStop(bool fast) {
    // 0 and below would address process groups or every process we may signal.
    if (pid_ < 1) {
        return kNotFound;
    }
    if (isKernelThread(pid_)) {
        LOG_INFO(kClass, L"Process is a kernel thread, it is not signalled", L"pid", pid_);
        return kNotFound;
    }
    const int signalNumber = fast ? SIGUSR2 : SIGUSR1;
    int result;
    do {
        result = sigqueue(pid_, signalNumber, sigval{0});
    } while (result != 0 && (errno == EINTR || errno == EAGAIN));
    if (result == 0) {
        return kStoppedGracefully;
    }
    if (errno == ESRCH) {
        return kNotFound;
    }
    if (errno == EPERM) {
        return kNotPermitted;
    }
    return isRunning() ? kStillRunning : kNotFound;
}

int LinuxStopRequestClient::terminateProcess() {
    if (pid_ < 1) {
        return kStillRunning;
    }
    const bool killed = kill(pid_, SIGKILL) == 0;
    const int error = errno;
    LOG_INFO(kClass, L"Terminate process", L"result", killed ? L"success" : L"error");
    if (!killed && error == ESRCH) {
        // It ended on its own after the last look.
        return kStoppedGracefully;
    }
    return killed ? kKilled : kStillRunning;
}
