#include "service/StopRequestClient.h"

#include <algorithm>
#include <limits>
#include <sstream>

#include "platform/IConsole.h"
#include "platform/IFileLock.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"
#include "service/LinuxStopRequestClient.h"
#include "service/PidFile.h"

namespace {
const wchar_t* const kClass = L"StopRequestClient";
constexpr long kPollMs = 100;
// The PID-file option of the command line.
const wchar_t* const kPidFileOption = L"--pidfile";

void deleteStalePidFile(IFileLock& lock, const std::wstring& pidFilePath) {
    IFileLock::DeleteResult result;
    try {
        result = lock.deleteUnlessLocked(pidFilePath);
    } catch (const LauncherException& e) {
        throw LauncherException(
            LauncherException::kPidFile,
            formatMessage("IDS_PIDFILE_CANNOT_BE_DELETED", pidFilePath, e.getMessage()));
    }
    if (result == IFileLock::DeleteResult::Locked) {
        // Another launcher took the file over while we looked at it.
        throw LauncherException(LauncherException::kPidFile,
                                LocalizationSupport::getText("IDS_PIDFILE_EXISTS_PROCESS_RUNNING"));
    }
}
}  // namespace

StopRequestClient::StopRequestClient(IOsUtilsFactory& os, IFileLock& lock) : os_(os), lock_(lock) {}

StopRequestClient::~StopRequestClient() = default;

int32_t StopRequestClient::stopAndReport(const std::wstring& pidFilePath, bool pidFromPidFile,
                                         const SimpleOptional<unsigned long>& timeoutMs, bool fast,
                                         IConsole& console) {
    const std::wstring path = pidFilePath.empty() ? getPidFilePath() : pidFilePath;
    int result;
    if (pidFromPidFile && !lock_.isLocked(path)) {
        // The number outlived its launcher and may belong to anyone by now.
        LOG_INFO(kClass, L"PID-file is not held by a running launcher, nothing to stop",
                 L"pidFilePath", path, L"pid", getTargetPid());
        result = kNotFound;
    } else {
        result = stop(timeoutMs, fast);
    }
    const int32_t pid = getTargetPid();
    switch (result) {
        case kNotFound:
            console.writeErrorLine(formatMessage("IDS_LAUNCHER_NOT_FOUND_NOTHING_STOPPED", pid));
            return 11;
        case kStoppedGracefully:
            console.writeErrorLine(formatMessage("IDS_LAUNCHER_STOPPED_GRACEFULLY", pid));
            return 0;
        case kStillRunning:
            console.writeErrorLine(formatMessage("IDS_LAUNCHER_KILL_ERROR", pid));
            return 12;
        case kKilled: {
            std::wstring text = formatMessage("IDS_LAUNCHER_KILLED", pid);
            if (!path.empty()) {
                const int cleanup = cleanupPidFileAfterClientShutdown(path);
                if (cleanup == 1) {
                    text += LocalizationSupport::getText("IDS_PIDFILE_WAS_REMOVED");
                } else if (cleanup == 2) {
                    text += LocalizationSupport::getText("IDS_PIDFILE_FAILED_TO_REMOVE");
                }
            }
            console.writeErrorLine(text);
            return 0;
        }
        case kNotPermitted:
            // No line end: the way this message has always been printed.
            console.writeError(formatMessage("IDS_LAUNCHER_SIGNAL_PERM_ERROR", pid));
            return 12;
        default:
            return LauncherException::kInternal;
    }
}

int StopRequestClient::stop(const SimpleOptional<unsigned long>& timeoutMs, bool fast) {
    int result = askToStop(fast);
    if (result != kStoppedGracefully && result != kStillRunning) {
        return result;
    }
    result = waitForTermination(timeoutMs.valueOr(std::numeric_limits<unsigned long>::max()));
    if (result == kStillRunning) {
        if (timeoutMs.hasValue()) {
            return terminateProcess();
        }
        LOG_INFO(kClass, L"Process is still running", L"pid", getTargetPid());
    }
    return result;
}

int StopRequestClient::waitForTermination(unsigned long timeoutMs) {
    for (unsigned long elapsed = 0; elapsed < timeoutMs; elapsed += kPollMs) {
        if (!isRunning()) {
            LOG_INFO(kClass, L"Asked process to stop gracefully", L"millisecondsElapsed", elapsed);
            return kStoppedGracefully;
        }
        if (elapsed % 10 == 0) {
            LOG_INFO(kClass, L"Waiting for process to stop", L"millisecondsElapsed", elapsed);
        }
        os_.getProcessUtils().sleep(kPollMs);
    }
    return kStillRunning;
}

int StopRequestClient::cleanupPidFileAfterClientShutdown(const std::wstring& pidFilePath) {
    IFileUtils& files = os_.getFileUtils();
    try {
        if (!files.exists(pidFilePath)) {
            LOG_INFO(kClass, L"PID-file of another instance is not accessible", L"pidFilePath",
                     pidFilePath);
            return 0;
        }
        if (files.isDirectory(pidFilePath)) {
            LOG_INFO(kClass, LocalizationSupport::getText("IDS_PIDFILE_OF_ANOTHER_IS_DIRECTORY"),
                     L"pidFilePath", pidFilePath);
            return 2;
        }
        files.deleteFile(pidFilePath);
        LOG_INFO(kClass, LocalizationSupport::getText("IDS_PIDFILE_OF_ANOTHER_WAS_REMOVED"),
                 L"pidFilePath", pidFilePath);
        return 1;
    } catch (const LauncherException& e) {
        LOG_INFO(kClass, L"Failed to remove pid file", L"exception", e.getMessage(), L"pidFilePath",
                 pidFilePath);
        return 2;
    }
}

std::wstring StopRequestClient::getPidFilePath() {
    const std::vector<std::wstring> args = getCommandLine();
    if (args.empty()) {
        LOG_INFO(kClass, L"Cannot read pid file path of another instance");
        return std::wstring();
    }
    // Four dashes: the search has always looked for "--" before the option name, and
    // launchers that are found this way rely on it.
    const std::wstring option = std::wstring(L"--") + kPidFileOption;
    const auto found = std::find(args.begin(), args.end(), option);
    if (found == args.end() || found + 1 == args.end()) {
        return std::wstring();
    }
    LOG_INFO(kClass, L"A path to a pid file of another instance is obtained", L"pidFilePath",
             *(found + 1));
    return *(found + 1);
}

void StopRequestClient::checkClientLauncherIsNotRunning(IOsUtilsFactory& os, IFileLock& lock,
                                                        const std::wstring& pidFilePath) {
    LOG_INFO(kClass, L"Checking prerequisites before start", L"pidFilePath", pidFilePath);
    int32_t pid = -1;
    std::wostringstream formatError;
    try {
        if (!os.getFileUtils().exists(pidFilePath)) {
            LOG_INFO(kClass, L"Old PID-file is absent", L"pidFilePath", pidFilePath);
            return;
        }
        pid = PidFile::readPid(os.getFileUtils(), pidFilePath, formatError);
    } catch (const LauncherException& e) {
        LOG_INFO(kClass, L"PID-file access error, delete it", L"exception", e.getMessage(),
                 L"pidFilePath", pidFilePath);
        deleteStalePidFile(lock, pidFilePath);
        return;
    }
    if (!formatError.str().empty()) {
        LOG_INFO(kClass, L"PID-file exists and has unsupported format, delete it", L"formatError",
                 formatError.str(), L"pidFilePath", pidFilePath);
    } else if (!LinuxStopRequestClient(os, lock, pid).isRunning()) {
        LOG_INFO(kClass, L"Process referenced in PID-file is not running, delete old PID-file",
                 L"pid", pid, L"pidFilePath", pidFilePath);
    } else if (lock.isLocked(pidFilePath)) {
        throw LauncherException(LauncherException::kPidFile,
                                LocalizationSupport::getText("IDS_PIDFILE_EXISTS_PROCESS_RUNNING"));
    } else {
        LOG_INFO(kClass,
                 L"Process referenced in PID-file belongs to another program, delete old PID-file",
                 L"pid", pid, L"pidFilePath", pidFilePath);
    }
    deleteStalePidFile(lock, pidFilePath);
}
