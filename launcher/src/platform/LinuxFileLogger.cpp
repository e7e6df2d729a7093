#include "platform/LinuxFileLogger.h"

#include <dirent.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <cstring>

#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LocalTime.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

namespace {

std::mutex& logMutex() {
    static std::mutex mutex;
    return mutex;
}

std::wstring lastErrorText() {
    return getOsUtilsFactory().getSystemUtils().getLastErrorText();
}

// The rotation index of a directory entry: 0 for the log file itself, N for
// the base name, any one character and the number N, -1 for anything else.
long rotationIndex(const char* name, const std::string& base) {
    if (base == name) {
        return 0;
    }
    size_t length = std::strlen(name);
    if (length <= base.size() || std::strncmp(name, base.c_str(), base.size()) != 0) {
        return -1;
    }
    const char* rest = name + base.size() + 1;
    char* end = nullptr;
    unsigned long index = std::strtoul(rest, &end, 10);
    if (*end != '\0') {
        return -1;
    }
    return static_cast<long>(index);
}

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

}  // namespace

LinuxFileLogger::LinuxFileLogger(const std::wstring& logPath) {
    std::string path = toUtf8(logPath);
    rotate(path, logPath);
    file_ = std::fopen(path.c_str(), "a+b");
    if (file_ == nullptr) {
        throw LauncherException(LauncherException::kLogFile,
                                formatMessage("IDS_FILE_CREATION_ERROR", logPath, lastErrorText()));
    }
}

void LinuxFileLogger::rotate(const std::string& path, const std::wstring& widePath) {
    size_t separator = path.find_last_of("/\\");
    std::string directory = separator == std::string::npos ? "." : path.substr(0, separator);
    std::string base = separator == std::string::npos ? path : path.substr(separator + 1);

    DIR* dir = opendir(directory.c_str());
    if (dir == nullptr) {
        throw LauncherException(
            LauncherException::kLogFile,
            formatMessage("IDS_FILE_CREATION_ERROR", widePath, lastErrorText()));
    }
    bool logExists = false;
    long largest = 0;
    while (dirent* entry = readdir(dir)) {
        long index = rotationIndex(entry->d_name, base);
        if (index == 0) {
            logExists = true;
        }
        if (index > largest) {
            largest = index;
        }
    }
    closedir(dir);
    if (!logExists) {
        return;
    }
    char target[4096];
    int printed = std::snprintf(target, sizeof(target), "%s.%ld", path.c_str(), largest + 1);
    if (printed < 0 || printed >= static_cast<int>(sizeof(target)) ||
        std::rename(path.c_str(), target) != 0) {
        std::wstring error = lastErrorText();
        throw LauncherException(
            LauncherException::kLogFile,
            formatMessage("IDS_CANNOT_ROTATE_LOG", widePath, toWide(target), error));
    }
}

LinuxFileLogger::~LinuxFileLogger() {
    {
        std::lock_guard<std::mutex> lock(logMutex());
        std::fclose(file_);
        file_ = nullptr;
    }
    sync();
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
    if (file_ != nullptr) {
        std::fwrite(text.data(), 1, text.size(), file_);
    }
}

void LinuxFileLogger::flush() {
    std::lock_guard<std::mutex> lock(logMutex());
    if (file_ != nullptr) {
        std::fflush(file_);
    }
}
