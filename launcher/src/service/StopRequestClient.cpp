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
// How long a killed launcher may take to be gone before its PID file is given up on.
constexpr long kReleasePollMs = 20;
constexpr int kReleaseWaits = 100;
// The PID-file option of the command line.
const wchar_t* const kPidFileOption = L"--pidfile";

void deleteStalePidFile(IFileLock& lock, const std::wstring& pidFilePath,
                        const IFileLock::Inspection& found) {
    IFileLock::DeleteResult result;
    try {
        result = lock.deleteUnlessLocked(pidFilePath, &found);
    } catch (const LauncherException& e) {
        throw LauncherException(
            LauncherException::kPidFile,
            formatMessage("IDS_PIDFILE_CANNOT_BE_DELETED", pidFilePath, e.getMessage()));
    }
    if (result == IFileLock::DeleteResult::Locked || result == IFileLock::DeleteResult::Replaced) {
        // Another launcher took the file over, or another file took its place, while we
        // looked at it.
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
    if (!path.empty() && pidFromPidFile) {
        heldByTarget_ = isHeldByTarget(path);
    } else if (!path.empty()) {
        // Found on the target's command line, the file only decides the clean-up.
        try {
            heldByTarget_ = isHeldByTarget(path);
        } catch (const LauncherException& e) {
            LOG_INFO(kClass, L"PID-file of another instance cannot be checked", L"exception",
                     e.getMessage(), L"pidFilePath", path);
            targetPidFile_.present = true;
        }
    }
    if (pidFromPidFile && !heldByTarget_) {
        // The number outlived its launcher and may belong to anyone by now, or someone
        // else wrote it: only the process that holds the file's lock is its launcher.
        LOG_INFO(kClass, L"PID-file is not held by the launcher it names, nothing to stop",
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
    try {
        if (!targetPidFile_.present) {
            LOG_INFO(kClass, L"PID-file of another instance is not accessible", L"pidFilePath",
                     pidFilePath);
            return 0;
        }
        if (!heldByTarget_) {
            // Whatever the file is, it was not the killed launcher's.
            LOG_INFO(kClass, L"PID-file of another instance was not held by it, not removed",
                     L"pidFilePath", pidFilePath);
            return 2;
        }
        // The killed launcher's lock goes only once the kernel has closed its files, after
        // the last of its threads has ended; by then /proc/locks may name no one.
        IFileLock::DeleteResult result = lock_.deleteUnlessLocked(pidFilePath, &targetPidFile_);
        for (int tries = 0; result == IFileLock::DeleteResult::Locked && tries < kReleaseWaits &&
                            isHolderGoing(lock_.inspect(pidFilePath).holder);
             ++tries) {
            os_.getProcessUtils().sleep(kReleasePollMs);
            result = lock_.deleteUnlessLocked(pidFilePath, &targetPidFile_);
        }
        switch (result) {
            case IFileLock::DeleteResult::Deleted:
                LOG_INFO(kClass, LocalizationSupport::getText("IDS_PIDFILE_OF_ANOTHER_WAS_REMOVED"),
                         L"pidFilePath", pidFilePath);
                return 1;
            case IFileLock::DeleteResult::Absent:
                LOG_INFO(kClass, L"PID-file of another instance is not accessible", L"pidFilePath",
                         pidFilePath);
                return 0;
            case IFileLock::DeleteResult::Locked:
            case IFileLock::DeleteResult::Replaced:
                LOG_INFO(kClass, L"PID-file of another instance was replaced, not removed",
                         L"pidFilePath", pidFilePath);
                return 2;
        }
        return 2;
    } catch (const LauncherException& e) {
        LOG_INFO(kClass, L"Failed to remove pid file", L"exception", e.getMessage(), L"pidFilePath",
                 pidFilePath);
        return 2;
    }
}

bool StopRequestClient::isHolderGoing(int32_t holder) const {
    return holder == getTargetPid() || holder == 0;
}

bool StopRequestClient::isHeldByTarget(const std::wstring& pidFilePath) {
    try {
        targetPidFile_ = lock_.inspect(pidFilePath);
    } catch (const LauncherException& e) {
        // A link of another user, or a file that cannot be read: the PID file's error.
        throw LauncherException(LauncherException::kPidFile, e.getMessage());
    }
    std::wostringstream ignored;
    const int32_t pid = getTargetPid();
    return targetPidFile_.regular && targetPidFile_.holder == pid &&
           PidFile::parsePid(targetPidFile_.content, pidFilePath, ignored) == pid;
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
    IFileLock::Inspection found;
    try {
        found = lock.inspect(pidFilePath);
    } catch (const LauncherException& e) {
        // Never deleted: it may be another user's link, which must not decide anything.
        throw LauncherException(LauncherException::kPidFile, e.getMessage());
    }
    if (!found.present) {
        LOG_INFO(kClass, L"Old PID-file is absent", L"pidFilePath", pidFilePath);
        return;
    }
    if (!found.regular && !found.directory) {
        // No launcher wrote it: a FIFO, a socket or a device is left where it is.
        throw LauncherException(
            LauncherException::kPidFile,
            formatMessage("IDS_PIDFILE_CANNOT_BE_DELETED", pidFilePath,
                          formatMessage("IDS_CANNOT_DELETE_FILE", pidFilePath,
                                        LocalizationSupport::getText("IDS_NOT_A_REGULAR_FILE"))));
    }
    std::wostringstream formatError;
    const int32_t pid =
        found.regular ? PidFile::parsePid(found.content, pidFilePath, formatError) : -1;
    if (found.directory) {
        // Its deletion fails with the error that says what it is.
        LOG_INFO(kClass, L"PID-file is a directory", L"pidFilePath", pidFilePath);
    } else if (!formatError.str().empty()) {
        LOG_INFO(kClass, L"PID-file exists and has unsupported format, delete it", L"formatError",
                 formatError.str(), L"pidFilePath", pidFilePath);
    } else if (!LinuxStopRequestClient(os, lock, pid).isRunning()) {
        LOG_INFO(kClass, L"Process referenced in PID-file is not running, delete old PID-file",
                 L"pid", pid, L"pidFilePath", pidFilePath);
    } else if (found.holder == pid) {
        throw LauncherException(LauncherException::kPidFile,
                                LocalizationSupport::getText("IDS_PIDFILE_EXISTS_PROCESS_RUNNING"));
    } else {
        LOG_INFO(kClass,
                 L"Process referenced in PID-file belongs to another program, delete old PID-file",
                 L"pid", pid, L"pidFilePath", pidFilePath);
    }
    deleteStalePidFile(lock, pidFilePath, found);
}
