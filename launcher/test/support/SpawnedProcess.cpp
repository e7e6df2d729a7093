#include "support/SpawnedProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "support/TempDir.h"

extern char** environ;

namespace {

constexpr std::chrono::milliseconds kPoll{20};

class SpawnSetup {
  public:
    SpawnSetup(const std::string& outFile, const std::string& errFile,
               const std::string& terminalName) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawnattr_init(&attributes_);
        short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        if (terminalName.empty()) {
            posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        } else {
            // Opened after setsid by a session leader without O_NOCTTY, the terminal
            // becomes the controlling one, so its interrupt character signals the child.
            flags |= POSIX_SPAWN_SETSID;
            posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, terminalName.c_str(), O_RDWR,
                                             0);
        }
        posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, outFile.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, errFile.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0644);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes_, &none);
        sigset_t defaults;
        sigemptyset(&defaults);
        for (int signalNumber : {SIGINT, SIGTERM, SIGUSR1, SIGUSR2}) {
            sigaddset(&defaults, signalNumber);
        }
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        posix_spawnattr_setflags(&attributes_, flags);
    }
    ~SpawnSetup() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    const posix_spawn_file_actions_t* actions() const { return &actions_; }
    const posix_spawnattr_t* attributes() const { return &attributes_; }

  private:
    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
};

}  // namespace

SpawnedProcess::SpawnedProcess(const std::string& program, const std::vector<std::string>& args,
                               const std::string& outFile, const std::string& errFile,
                               const std::vector<std::string>& environmentChanges,
                               bool onTerminal) {
    std::vector<std::string> environment = environmentChanges;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text(*entry);
        const std::string name = text.substr(0, text.find('='));
        bool replaced = false;
        for (const std::string& change : environmentChanges) {
            replaced = replaced || change.substr(0, change.find('=')) == name;
        }
        if (!replaced) {
            environment.push_back(text);
        }
    }
    std::vector<char*> envp;
    for (std::string& entry : environment) {
        envp.push_back(entry.data());
    }
    envp.push_back(nullptr);
    std::vector<std::string> text{program};
    text.insert(text.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& arg : text) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    std::string terminalName;
    if (onTerminal) {
        char name[256];
        terminal_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (terminal_ < 0 || ::grantpt(terminal_) != 0 || ::unlockpt(terminal_) != 0 ||
            ::ptsname_r(terminal_, name, sizeof(name)) != 0) {
            throw std::runtime_error(std::string("no terminal: ") + std::strerror(errno));
        }
        terminalName = name;
    }
    SpawnSetup setup(outFile, errFile, terminalName);
    int error = posix_spawn(&pid_, program.c_str(), setup.actions(), setup.attributes(),
                            argv.data(), envp.data());
    if (error != 0) {
        throw std::runtime_error("cannot start " + program + ": " + std::strerror(error));
    }
}

SpawnedProcess::~SpawnedProcess() {
    if (!status_) {
        ::kill(pid_, SIGKILL);
        reapWithin(pid_, std::chrono::seconds(10));
    }
    if (terminal_ >= 0) {
        ::close(terminal_);
    }
}

void SpawnedProcess::signal(int signalNumber) const {
    ::kill(pid_, signalNumber);
}

void SpawnedProcess::type(const std::string& text) const {
    if (::write(terminal_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error(std::string("cannot type: ") + std::strerror(errno));
    }
}

bool SpawnedProcess::hasEnded() const {
    if (status_) {
        return true;
    }
    siginfo_t info{};
    return ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == pid_;
}

std::optional<int> SpawnedProcess::waitForEnd(std::chrono::milliseconds limit) {
    if (!status_) {
        status_ = reapWithin(pid_, limit);
    }
    return status_;
}

bool SpawnedProcess::waitForText(const std::string& file, const std::string& text,
                                 std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (readWholeFile(file).find(text) == std::string::npos) {
        if (waitForEnd(std::chrono::milliseconds(0)) ||
            std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(kPoll);
    }
    return true;
}

std::optional<int> reapWithin(pid_t pid, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        int status = 0;
        pid_t result = waitpid(pid, &status, WNOHANG);
        if (result == pid) {
            return status;
        }
        if ((result < 0 && errno != EINTR) || std::chrono::steady_clock::now() >= deadline) {
            return std::nullopt;
        }
        std::this_thread::sleep_for(kPoll);
    }
}

int exitCodeOf(const std::optional<int>& status) {
    return status && WIFEXITED(*status) ? WEXITSTATUS(*status) : -1;
}

bool waitForText(const std::string& file, const std::string& text,
                 std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (readWholeFile(file).find(text) == std::string::npos) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(kPoll);
    }
    return true;
}
