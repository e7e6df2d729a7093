#include "support/ProcessRunner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

extern char** environ;

namespace {

class Pipe {
  public:
    Pipe() {
        if (pipe2(fds_, O_CLOEXEC) != 0) {
            throw std::runtime_error(std::string("pipe2: ") + std::strerror(errno));
        }
    }
    ~Pipe() {
        closeRead();
        closeWrite();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int readEnd() const { return fds_[0]; }
    int writeEnd() const { return fds_[1]; }
    void closeRead() { closeFd(fds_[0]); }
    // Hands the read end over to a new owner.
    int releaseRead() {
        int fd = fds_[0];
        fds_[0] = -1;
        return fd;
    }
    void closeWrite() { closeFd(fds_[1]); }

  private:
    static void closeFd(int& fd) {
        if (fd >= 0) {
            ::close(fd);
            fd = -1;
        }
    }
    int fds_[2] = {-1, -1};
};

// Reads what is there without waiting; false once the writer has closed.
bool drain(int fd, std::string& into) {
    char buffer[4096];
    for (;;) {
        ssize_t n = ::read(fd, buffer, sizeof(buffer));
        if (n > 0) {
            into.append(buffer, static_cast<size_t>(n));
        } else if (n == 0) {
            return false;
        } else if (errno == EINTR) {
            continue;
        } else {
            return errno == EAGAIN || errno == EWOULDBLOCK;
        }
    }
}

void describeEnd(int status, ProcessRunner::Result& result) {
    if (WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        result.signal = WTERMSIG(status);
    }
}

}  // namespace

ProcessRunner::ProcessRunner(std::string program) : program_(std::move(program)) {}

ProcessRunner& ProcessRunner::args(std::vector<std::string> args) {
    args_ = std::move(args);
    return *this;
}

ProcessRunner& ProcessRunner::argv0(std::string name) {
    argv0_ = std::move(name);
    return *this;
}

ProcessRunner& ProcessRunner::env(const std::string& name, const std::string& value) {
    envChanges_[name] = value;
    return *this;
}

ProcessRunner& ProcessRunner::unsetEnv(const std::string& name) {
    envChanges_[name] = std::nullopt;
    return *this;
}

ProcessRunner& ProcessRunner::clearEnv() {
    clearEnv_ = true;
    return *this;
}

ProcessRunner& ProcessRunner::workingDirectory(std::string directory) {
    workingDirectory_ = std::move(directory);
    return *this;
}

ProcessRunner& ProcessRunner::timeout(std::chrono::milliseconds limit) {
    timeout_ = limit;
    return *this;
}

ProcessRunner::Result ProcessRunner::run() const {
    return start().wait();
}

ProcessRunner::Running ProcessRunner::start() const {
    // Everything the child needs is built before fork: after it, the child may
    // only make async-signal-safe calls.
    std::vector<std::string> argvText{argv0_.value_or(program_)};
    argvText.insert(argvText.end(), args_.begin(), args_.end());
    std::vector<char*> argv;
    for (std::string& arg : argvText) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);

    std::map<std::string, std::string> environment;
    if (!clearEnv_) {
        for (char** entry = environ; *entry != nullptr; ++entry) {
            std::string text = *entry;
            size_t equals = text.find('=');
            if (equals != std::string::npos) {
                environment[text.substr(0, equals)] = text.substr(equals + 1);
            }
        }
    }
    for (const auto& [name, value] : envChanges_) {
        if (value) {
            environment[name] = *value;
        } else {
            environment.erase(name);
        }
    }
    std::vector<std::string> envText;
    for (const auto& [name, value] : environment) {
        envText.push_back(name + "=" + value);
    }
    std::vector<char*> envp;
    for (std::string& entry : envText) {
        envp.push_back(entry.data());
    }
    envp.push_back(nullptr);

    Pipe out;
    Pipe err;
    Pipe execFailure;
    const pid_t pid = fork();
    if (pid < 0) {
        throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
    }
    if (pid == 0) {
        int devNull = ::open("/dev/null", O_RDONLY);
        if (devNull >= 0) {
            ::dup2(devNull, STDIN_FILENO);
        }
        ::dup2(out.writeEnd(), STDOUT_FILENO);
        ::dup2(err.writeEnd(), STDERR_FILENO);
        if (workingDirectory_.empty() || ::chdir(workingDirectory_.c_str()) == 0) {
            ::execve(program_.c_str(), argv.data(), envp.data());
        }
        int error = errno;
        ssize_t ignored = ::write(execFailure.writeEnd(), &error, sizeof(error));
        (void)ignored;
        ::_exit(127);
    }
    out.closeWrite();
    err.closeWrite();
    execFailure.closeWrite();

    int startError = 0;
    ssize_t got;
    do {
        got = ::read(execFailure.readEnd(), &startError, sizeof(startError));
    } while (got < 0 && errno == EINTR);
    if (got == static_cast<ssize_t>(sizeof(startError))) {
        int status = 0;
        ::waitpid(pid, &status, 0);
        throw std::runtime_error("cannot run " + program_ + ": " + std::strerror(startError));
    }

    ::fcntl(out.readEnd(), F_SETFL, O_NONBLOCK);
    ::fcntl(err.readEnd(), F_SETFL, O_NONBLOCK);
    return Running(pid, out.releaseRead(), err.releaseRead(),
                   std::chrono::steady_clock::now() + timeout_);
}

ProcessRunner::Running::Running(pid_t pid, int outFd, int errFd,
                                std::chrono::steady_clock::time_point deadline)
    : pid_(pid), outFd_(outFd), errFd_(errFd), deadline_(deadline) {}

ProcessRunner::Running::Running(Running&& other) noexcept
    : pid_(other.pid_),
      outFd_(other.outFd_),
      errFd_(other.errFd_),
      deadline_(other.deadline_),
      reaped_(other.reaped_) {
    other.pid_ = -1;
    other.outFd_ = -1;
    other.errFd_ = -1;
    other.reaped_ = true;
}

ProcessRunner::Running::~Running() {
    if (!reaped_ && pid_ > 0) {
        ::kill(pid_, SIGKILL);
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
    }
    if (outFd_ >= 0) {
        ::close(outFd_);
    }
    if (errFd_ >= 0) {
        ::close(errFd_);
    }
}

bool ProcessRunner::Running::signal(int signalNumber) const {
    return !reaped_ && pid_ > 0 && ::kill(pid_, signalNumber) == 0;
}

ProcessRunner::Result ProcessRunner::Running::wait() {
    if (reaped_) {
        throw std::logic_error("ProcessRunner::Running::wait called twice");
    }
    const pid_t pid = pid_;
    Result result;
    const auto deadline = deadline_;
    bool outOpen = true;
    bool errOpen = true;
    int status = 0;
    bool ended = false;
    while (!ended) {
        if (::waitpid(pid, &status, WNOHANG) == pid) {
            // Whatever the child wrote is in the pipes by now; a process it left
            // behind may keep them open, so nothing more is waited for.
            ended = true;
            if (outOpen) {
                drain(outFd_, result.out);
            }
            if (errOpen) {
                drain(errFd_, result.err);
            }
            break;
        }
        auto now = std::chrono::steady_clock::now();
        if (now >= deadline) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            result.timedOut = true;
            drain(outFd_, result.out);
            drain(errFd_, result.err);
            break;
        }
        pollfd fds[2];
        nfds_t count = 0;
        if (outOpen) {
            fds[count++] = {outFd_, POLLIN, 0};
        }
        if (errOpen) {
            fds[count++] = {errFd_, POLLIN, 0};
        }
        // Short slices, so the end of the child is noticed even while a process
        // it left behind keeps the pipes open.
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now);
        int sliceMs = static_cast<int>(std::min<long long>(left.count() + 1, 20));
        if (count == 0) {
            ::poll(nullptr, 0, sliceMs);
            continue;
        }
        if (::poll(fds, count, sliceMs) <= 0) {
            continue;
        }
        if (outOpen) {
            outOpen = drain(outFd_, result.out);
        }
        if (errOpen) {
            errOpen = drain(errFd_, result.err);
        }
    }
    reaped_ = true;
    if (!result.timedOut) {
        describeEnd(status, result);
    } else {
        result.signal = SIGKILL;
    }
    return result;
}
