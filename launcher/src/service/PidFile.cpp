#include "service/PidFile.h"

#include <cstdlib>
#include <string>

#include "platform/IFileLock.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LauncherOsException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"

namespace {
const wchar_t* const kClass = L"PidFile";
// The longest content accepted: nine digits hold any process id.
constexpr size_t kMaxPidBytes = 9;
}  // namespace

PidFile::PidFile(IOsUtilsFactory& os, IFileLock& lock, std::wstring path)
    : os_(os), lock_(lock), path_(std::move(path)) {}

PidFile::~PidFile() {
    lock_.release(lockHandle_);
}

void PidFile::savePid() {
    if (path_.empty()) {
        return;
    }
    try {
        if (path_[0] != L'/') {
            // The launcher changes its working directory later on; the file it removes
            // at the end must still be the one written here.
            path_ = os_.getFileUtils().toAbsolutePath(L".") + L"/" + path_;
        }
        const std::string digits = std::to_string(os_.getProcessUtils().getPid());
        const int handle = lock_.acquire(path_, digits);
        if (handle < 0) {
            heldByAnother_ = true;
            LOG_ERROR(kClass, L"PID file is locked by another running launcher", L"path", path_);
            throw LauncherException(
                LauncherException::kPidFile,
                LocalizationSupport::getText("IDS_PIDFILE_EXISTS_PROCESS_RUNNING"));
        }
        lockHandle_ = handle;
        LOG_INFO(kClass, L"PID saved", L"path", path_);
    } catch (const LauncherOsException& e) {
        throw LauncherException(LauncherException::kPidFile, e.getMessage());
    }
}

void PidFile::removePid() {
    const char* const function = "remove";
    if (path_.empty() || heldByAnother_) {
        logMessage(LogLevel::info(), kClass, __FILE__, __LINE__, function,
                   L"No PID file was removed because none was written.");
        return;
    }
    IFileUtils& files = os_.getFileUtils();
    try {
        if (!files.exists(path_)) {
            logMessage(LogLevel::info(), kClass, __FILE__, __LINE__, function,
                       L"PID file is absent, nothing to remove", L"path", path_);
        } else if (files.isDirectory(path_)) {
            logMessage(LogLevel::error(), kClass, __FILE__, __LINE__, function,
                       L"PID file path points to directory, so will not be deleted", L"path",
                       path_);
        } else if (lock_.deleteHeld(lockHandle_, path_) == IFileLock::DeleteResult::Locked) {
            // Ours was deleted and another launcher has written its own since.
            logMessage(LogLevel::info(), kClass, __FILE__, __LINE__, function,
                       L"PID file was replaced by another launcher's, so will not be deleted",
                       L"path", path_);
        } else {
            logMessage(LogLevel::info(), kClass, __FILE__, __LINE__, function,
                       L"PID file was removed", L"path", path_);
        }
    } catch (const LauncherException& e) {
        logMessage(LogLevel::error(), kClass, __FILE__, __LINE__, function,
                   L"Cannot remove PID file", L"Error", e.getMessage());
    }
    // Only now: whoever waits for the lock then finds the file gone and makes a new one.
    lock_.release(lockHandle_);
    lockHandle_ = -1;
}

int32_t PidFile::readPid(IFileUtils& files, const std::wstring& path, std::wostream& errors) {
    if (path.empty()) {
        throw LauncherException(LauncherException::kInternal,
                                L"Invalid state. Cannot read a PID because file name was not set");
    }
    return parsePid(files.readFile(path)->toString(), path, errors);
}

int32_t PidFile::parsePid(const std::string& content, const std::wstring& path,
                          std::wostream& errors) {
    if (content.empty()) {
        errors << formatMessage("IDS_PIDFILE_ZEROSIZE", path);
        return -1;
    }
    if (content.size() > kMaxPidBytes) {
        errors << formatMessage("IDS_PIDFILE_EXTRACHARS", path);
        return -1;
    }
    // strtoul's syntax is the file format: leading blanks and a sign pass, a line end
    // after the digits does not.
    char* end = nullptr;
    const unsigned long value = std::strtoul(content.c_str(), &end, 10);
    if (end != content.c_str() + content.size()) {
        errors << formatMessage("IDS_PIDFILE_BAD_CHARS", path);
        return -1;
    }
    return static_cast<int32_t>(value);
}
