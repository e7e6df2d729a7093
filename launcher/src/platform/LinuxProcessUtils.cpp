#include "platform/LinuxProcessUtils.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>

#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherOsException.h"
#include "platform/LinuxSystemUtils.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

namespace {

// The arguments as the kernel keeps them, bytes unconverted.
std::vector<std::string> readCommandLine() {
    FILE* file = std::fopen("/proc/self/cmdline", "rb");
    if (file == nullptr) {
        throw LauncherOsException(
            formatMessage("IDS_CANNOT_GET_COMMAND_LINE_ARGS", LinuxSystemUtils::errorText(errno)));
    }
    // The buffer grows, so an argument of any length (a long class path, say)
    // arrives whole.
    std::vector<std::string> args;
    std::string current;
    int c;
    while ((c = std::getc(file)) != EOF) {
        if (c == '\0') {
            args.push_back(std::move(current));
            current.clear();
        } else {
            current.push_back(static_cast<char>(c));
        }
    }
    std::fclose(file);
    if (!current.empty()) {
        args.push_back(std::move(current));
    }
    return args;
}

}  // namespace

std::vector<std::wstring> LinuxProcessUtils::getCommandLineArgs() {
    std::vector<std::wstring> args;
    for (const std::string& arg : readCommandLine()) {
        args.push_back(toWide(arg));
    }
    return args;
}

std::vector<size_t> LinuxProcessUtils::getCutCommandLineArgs() {
    std::vector<size_t> cut;
    const std::vector<std::string> args = readCommandLine();
    for (size_t i = 0; i < args.size(); ++i) {
        if (!isWholeUtf8(args[i])) {
            cut.push_back(i);
        }
    }
    return cut;
}

std::vector<std::wstring> LinuxProcessUtils::convertArgs(int argc, char** argv) {
    std::vector<std::wstring> args;
    args.reserve(argc > 0 ? argc : 0);
    for (int i = 0; i < argc; ++i) {
        args.push_back(toWide(argv[i]));
    }
    return args;
}

std::vector<std::wstring> LinuxProcessUtils::convertArgs(int argc, wchar_t** argv) {
    std::vector<std::wstring> args;
    args.reserve(argc > 0 ? argc : 0);
    for (int i = 0; i < argc; ++i) {
        args.emplace_back(argv[i] != nullptr ? argv[i] : L"");
    }
    return args;
}

int LinuxProcessUtils::getPid() {
    return static_cast<int>(getpid());
}

std::wstring LinuxProcessUtils::getExecutablePath() {
    char path[4096] = {};
    if (readlink("/proc/self/exe", path, sizeof(path) - 1) < 0) {
        return std::wstring();
    }
    return toWide(path);
}

std::wstring LinuxProcessUtils::getExecutableDirectory() {
    std::wstring path = getExecutablePath();
    size_t slash = path.rfind(L'/');
    if (slash != std::wstring::npos) {
        path.erase(slash);
    }
    return getOsUtilsFactory().getFileUtils().toAbsolutePath(path);
}

void LinuxProcessUtils::changeDirectory(const std::wstring& path) {
    if (chdir(toUtf8(path).c_str()) != 0) {
        std::wstring error = LinuxSystemUtils::errorText(errno);
        throw LauncherOsException(formatMessage("IDS_CANNOT_CWD", path, error));
    }
}

int LinuxProcessUtils::sleep(long milliseconds) {
    // Deliberately one call with everything in the nanoseconds field: the wait
    // loops only ask for short ticks, and a second or more is refused at once.
    timespec interval{};
    interval.tv_sec = 0;
    // Clamped only so the multiplication cannot overflow; any clamped value is
    // just as invalid to nanosleep as the product would be.
    constexpr long kNanosPerMilli = 1000000L;
    constexpr long kLimit = std::numeric_limits<long>::max() / kNanosPerMilli;
    long clamped =
        milliseconds > kLimit ? kLimit : (milliseconds < -kLimit ? -kLimit : milliseconds);
    interval.tv_nsec = clamped * kNanosPerMilli;
    return nanosleep(&interval, nullptr);
}

std::wstring LinuxProcessUtils::getEnv(const std::wstring& name) {
    return toWide(std::getenv(toUtf8(name).c_str()));
}
