#include "support/ProcessRunner.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace {

// The wait status of a child that ends within the limit; one still running then is
// killed.
int reap(pid_t pid, std::chrono::milliseconds limit, bool* timedOut = nullptr) {
    int status = -1;
    if (!eventually([&] { return ::waitpid(pid, &status, WNOHANG) != 0; }, limit)) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, &status, 0);
        if (timedOut != nullptr) {
            *timedOut = true;
        }
    }
    return status;
}

}  // namespace

ProcessRunner::Running::Running(const ProcessRunner& runner)
    : deadline_(std::chrono::steady_clock::now() + runner.timeout_) {
    std::vector<std::string> text{runner.argv0_.empty() ? runner.program_ : runner.argv0_};
    text.insert(text.end(), runner.args_.begin(), runner.args_.end());
    std::vector<char*> argv;
    for (std::string& arg : text) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    std::string terminal = "/dev/null";
    if (runner.onTerminal_) {
        char name[256];
        terminal_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (terminal_ < 0 || ::grantpt(terminal_) != 0 || ::unlockpt(terminal_) != 0 ||
            ::ptsname_r(terminal_, name, sizeof(name)) != 0) {
            throw std::runtime_error(std::string("no terminal: ") + std::strerror(errno));
        }
        terminal = name;
    }
    const int out = ::open(files_.path("out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    const int err = ::open(files_.path("err").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    pid_ = ::fork();
    if (pid_ < 0) {
        // Never left at -1: kill(-1) would reach every process we may signal.
        throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
    }
    if (pid_ == 0) {
        // glibc keeps malloc usable in the child of a threaded process; little else is.
        sigset_t none;
        sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        for (int signalNumber : {SIGINT, SIGTERM, SIGUSR1, SIGUSR2}) {
            ::signal(signalNumber, SIG_DFL);
        }
        if (runner.body_) {
            const std::string result = runner.body_();
            (void)!::write(out, result.data(), result.size());
            ::_exit(0);
        }
        if (runner.onTerminal_) {
            // A session leader that opens a terminal without O_NOCTTY gets it as its
            // controlling one, so the terminal's interrupt character signals it.
            ::setsid();
        }
        // The originals are closed on exec.
        ::dup2(::open(terminal.c_str(), O_RDWR | O_CLOEXEC), STDIN_FILENO);
        ::dup2(out, STDOUT_FILENO);
        ::dup2(err, STDERR_FILENO);
        if (runner.clearEnv_) {
            ::clearenv();
        }
        for (const auto& [name, value] : runner.env_) {
            value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
        }
        if (runner.directory_.empty() || ::chdir(runner.directory_.c_str()) == 0) {
            ::execv(runner.program_.c_str(), argv.data());
        }
        ::_exit(127);
    }
    ::close(out);
    ::close(err);
}

ProcessRunner::Running::~Running() {
    if (!result_) {
        ::kill(pid_, SIGKILL);
        while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    if (terminal_ >= 0) {
        ::close(terminal_);
    }
}

void ProcessRunner::Running::type(const std::string& text) const {
    if (::write(terminal_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error(std::string("cannot type: ") + std::strerror(errno));
    }
}

bool ProcessRunner::Running::hasEnded() const {
    siginfo_t info{};
    return result_ ||
           (::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
            info.si_pid == pid_);
}

const ProcessRunner::Result& ProcessRunner::Running::wait() {
    if (!result_) {
        using std::chrono::duration_cast;
        const auto left = deadline_ - std::chrono::steady_clock::now();
        Result result;
        const int status =
            reap(pid_, duration_cast<std::chrono::milliseconds>(left), &result.timedOut);
        result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
        result.out = out();
        result.err = readWholeFile(files_.path("err"));
        result_ = result;
    }
    return *result_;
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

int waitForExit(pid_t pid, std::chrono::milliseconds limit) {
    const int status = reap(pid, limit);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
