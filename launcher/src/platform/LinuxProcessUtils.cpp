#include "platform/LinuxProcessUtils.h"

#include <fcntl.h>
#include <sys/wait.h>
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
#include "platform/Logger.h"
#include "platform/TextConversion.h"

namespace {

// The arguments as the kernel keeps them, bytes unconverted.
std::vector<std::string> readCommandLine() {
    FILE* file = std::fopen("/proc/self/cmdline", "rb");
    if (file == nullptr) {
        throw LauncherOsException(
            formatMessage("IDS_CANNOT_GET_COMMAND_LINE_ARGS", LinuxSystemUtils::errorText(errno)));
    }
    // Read in blocks until the end, so an argument of any length (a long class path,
    // say) arrives whole.
    std::string content;
    char block[4096];
    size_t n;
    while ((n = std::fread(block, 1, sizeof(block), file)) > 0) {
        content.append(block, n);
    }
    std::fclose(file);
    std::vector<std::string> args;
    size_t begin = 0;
    while (begin < content.size()) {
        size_t end = content.find('\0', begin);
        if (end == std::string::npos) {
            end = content.size();
        }
        args.emplace_back(content, begin, end - begin);
        begin = end + 1;
    }
    return args;
}

}  // namespace

const std::vector<std::string>& LinuxProcessUtils::rawCommandLine() {
    if (!commandLine_) {
        commandLine_ = readCommandLine();
    }
    return *commandLine_;
}

std::vector<std::wstring> LinuxProcessUtils::getCommandLineArgs() {
    std::vector<std::wstring> args;
    for (const std::string& arg : rawCommandLine()) {
        args.push_back(toWide(arg));
    }
    return args;
}

std::vector<size_t> LinuxProcessUtils::getCutCommandLineArgs() {
    std::vector<size_t> cut;
    const std::vector<std::string>& args = rawCommandLine();
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

bool LinuxProcessUtils::detach(DetachStage until) {
    int pipeEnds[2];
    if (::pipe2(pipeEnds, O_CLOEXEC) != 0) {
        return false;
    }
    // Whatever the C library still buffers would otherwise be written twice.
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) {
        const int error = errno;
        ::close(pipeEnds[0]);
        ::close(pipeEnds[1]);
        errno = error;
        return false;
    }
    if (child == 0) {
        ::close(pipeEnds[0]);
        ::setsid();
        detachPipe_ = pipeEnds[1];
        detachUntil_ = until;
        return true;
    }
    ::close(pipeEnds[1]);
    char stage = 0;
    for (;;) {
        const ssize_t got = ::read(pipeEnds[0], &stage, 1);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got != 1) {
            break;
        }
        if (stage == static_cast<char>(until) ||
            stage == static_cast<char>(DetachStage::kStarted)) {
            LOG_INFO(L"LinuxProcessUtils", L"Detached launcher is running", L"pid",
                     static_cast<long>(child), L"stage", std::wstring(1, stage));
            getLogger().flush();
            ::_exit(0);
        }
    }
    // The child closes its end only by ending before the stage came.
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    const int exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    LOG_INFO(L"LinuxProcessUtils", L"Detached launcher ended before it was running", L"pid",
             static_cast<long>(child), L"exitCode", exitCode);
    getLogger().flush();
    ::_exit(exitCode);
}

void LinuxProcessUtils::reportDetachStage(DetachStage stage) {
    if (detachPipe_ < 0) {
        return;
    }
    const char byte = static_cast<char>(stage);
    while (::write(detachPipe_, &byte, 1) < 0 && errno == EINTR) {
    }
    if (stage == detachUntil_ || stage == DetachStage::kStarted) {
        ::close(detachPipe_);
        detachPipe_ = -1;
    }
}
