#include "platform/Logger.h"

#include <atomic>
#include <cstring>

#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LauncherUntrustedLinkException.h"
#include "platform/LinuxFileLogger.h"
#include "platform/NopLogger.h"

namespace {
std::atomic<ILogger*> currentLogger{nullptr};
}

namespace LogLevel {
const std::wstring& error() {
    static const std::wstring text = L"ERROR";
    return text;
}
const std::wstring& warn() {
    static const std::wstring text = L"WARN";
    return text;
}
const std::wstring& info() {
    static const std::wstring text = L"INFO";
    return text;
}
}  // namespace LogLevel

void initLogger(const std::wstring& logPath) {
    if (currentLogger.load(std::memory_order_acquire) != nullptr) {
        throw LauncherException(LauncherException::kInternal, L"Logger was already initialized");
    }
    if (logPath.empty()) {
        currentLogger.store(&NopLogger::instance(), std::memory_order_release);
        return;
    }
    IOsUtilsFactory& os = getOsUtilsFactory();
    try {
        os.getFileUtils().createParentDirectories(logPath);
    } catch (const LauncherUntrustedLinkException& e) {
        // Refused like the log file itself would be, rather than as a directory that
        // could not be made.
        throw LauncherException(LauncherException::kLogFile, e.getMessage());
    }
    ILogger* logger = new LinuxFileLogger(logPath);
    ILogger* expected = nullptr;
    if (!currentLogger.compare_exchange_strong(expected, logger, std::memory_order_acq_rel)) {
        delete logger;
        throw LauncherException(LauncherException::kInternal, L"Logger was already initialized");
    }
}

ILogger& getLogger() {
    ILogger* logger = currentLogger.load(std::memory_order_acquire);
    return logger != nullptr ? *logger : NopLogger::instance();
}

bool isLoggingEnabled() {
    ILogger* logger = currentLogger.load(std::memory_order_acquire);
    return logger != nullptr && logger != &NopLogger::instance();
}

void shutdownLogger() {
    ILogger* previous = currentLogger.exchange(&NopLogger::instance(), std::memory_order_acq_rel);
    if (previous != nullptr && previous != &NopLogger::instance()) {
        delete previous;
    }
}

void resetLoggerForTesting() {
    ILogger* previous = currentLogger.exchange(nullptr, std::memory_order_acq_rel);
    if (previous != nullptr && previous != &NopLogger::instance()) {
        delete previous;
    }
}

void appendQuoted(std::wstring& out, const std::wstring& text) {
    bool special = false;
    size_t doubleQuotes = 0;
    size_t singleQuotes = 0;
    for (wchar_t c : text) {
        switch (c) {
            case L'\n':
            case L'\r':
            case L',':
            case L'=':
                special = true;
                break;
            case L'"':
                ++doubleQuotes;
                break;
            case L'\'':
                ++singleQuotes;
                break;
            default:
                break;
        }
    }
    if (!special && doubleQuotes == 0 && singleQuotes == 0) {
        out += text;
        return;
    }
    const wchar_t quote = singleQuotes <= doubleQuotes ? L'\'' : L'"';
    out += quote;
    for (wchar_t c : text) {
        out += c;
        if (c == quote) {
            out += quote;
        }
    }
    out += quote;
}

std::wstring toLogText(const std::vector<std::wstring>& values) {
    if (values.empty()) {
        return L"empty";
    }
    std::wstring text;
    for (size_t i = 0; i < values.size(); ++i) {
        if (i > 0) {
            text += L", ";
        }
        text += values[i];
    }
    return text;
}

namespace logdetail {
std::wstring widenAscii(const char* text) {
    std::wstring wide;
    if (text != nullptr) {
        wide.resize(std::strlen(text));
        for (wchar_t& c : wide) {
            c = static_cast<wchar_t>(static_cast<unsigned char>(*text++));
        }
    }
    return wide;
}
}  // namespace logdetail
