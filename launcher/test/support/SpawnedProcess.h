#pragma once

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

// A program started as a child process that a test signals while it runs. Its standard
// output and error go to one file; its standard input is /dev/null, or a terminal of
// its own that the test types on. It is killed and reaped at the latest when the
// object goes, so a hang cannot outlive the test.
class SpawnedProcess {
  public:
    struct End {
        int exitCode = -1;  // when it exited
        int signal = 0;     // the signal that ended it
        bool timedOut = false;
    };

    SpawnedProcess(const std::string& program, const std::vector<std::string>& args,
                   const std::string& outputFile,
                   const std::map<std::string, std::string>& extraEnvironment = {},
                   bool onTerminal = false) {
        // Everything the child needs is built before fork: after it, the child may only
        // make async-signal-safe calls.
        std::vector<std::string> argvText{program};
        argvText.insert(argvText.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (std::string& arg : argvText) {
            argv.push_back(arg.data());
        }
        argv.push_back(nullptr);
        std::vector<std::string> envText;
        for (char** entry = environ; *entry != nullptr; ++entry) {
            const std::string text = *entry;
            if (extraEnvironment.count(text.substr(0, text.find('='))) == 0) {
                envText.push_back(text);
            }
        }
        for (const auto& [name, value] : extraEnvironment) {
            envText.push_back(name + "=" + value);
        }
        std::vector<char*> envp;
        for (std::string& entry : envText) {
            envp.push_back(entry.data());
        }
        envp.push_back(nullptr);

        std::string terminalName;
        if (onTerminal) {
            terminal_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
            char name[256];
            if (terminal_ < 0 || ::grantpt(terminal_) != 0 || ::unlockpt(terminal_) != 0 ||
                ::ptsname_r(terminal_, name, sizeof(name)) != 0) {
                throw std::runtime_error(std::string("no terminal: ") + std::strerror(errno));
            }
            terminalName = name;
        }
        const int output =
            ::open(outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (output < 0) {
            throw std::runtime_error("cannot create " + outputFile + ": " + std::strerror(errno));
        }
        const pid_t parent = ::getpid();
        pid_ = fork();
        if (pid_ == 0) {
            // Gone with the test even when the test is killed.
            if (::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || ::getppid() != parent) {
                ::_exit(127);
            }
            // A new session whose first terminal becomes its controlling one, so that the
            // terminal's interrupt character signals it.
            const int input = onTerminal && ::setsid() >= 0 ? ::open(terminalName.c_str(), O_RDWR)
                                                            : ::open("/dev/null", O_RDONLY);
            ::dup2(input, STDIN_FILENO);
            ::dup2(output, STDOUT_FILENO);
            ::dup2(output, STDERR_FILENO);
            ::execve(program.c_str(), argv.data(), envp.data());
            ::_exit(127);
        }
        ::close(output);
        if (pid_ < 0) {
            throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
        }
    }

    ~SpawnedProcess() {
        if (pid_ > 0 && !reaped_) {
            ::kill(pid_, SIGKILL);
            reap();
        }
        if (terminal_ >= 0) {
            ::close(terminal_);
        }
    }
    SpawnedProcess(const SpawnedProcess&) = delete;
    SpawnedProcess& operator=(const SpawnedProcess&) = delete;

    pid_t pid() const { return pid_; }

    void signal(int signalNumber) const { ::kill(pid_, signalNumber); }

    // Types on its terminal, as a user at the keyboard would.
    void type(const std::string& text) const {
        if (::write(terminal_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
            throw std::runtime_error(std::string("cannot type: ") + std::strerror(errno));
        }
    }

    // Whether it has ended; it stays a zombie, so its pid cannot go to another process
    // while the test may still signal it.
    bool hasEnded() const {
        siginfo_t info{};
        return ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               info.si_pid == pid_;
    }

    // Waits for the end; one still running at the time limit is killed.
    End waitForEnd(std::chrono::milliseconds limit) {
        End end;
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!hasEnded()) {
            if (std::chrono::steady_clock::now() >= deadline) {
                end.timedOut = true;
                ::kill(pid_, SIGKILL);
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        const int status = reap();
        if (!end.timedOut && WIFEXITED(status)) {
            end.exitCode = WEXITSTATUS(status);
        } else if (WIFSIGNALED(status)) {
            end.signal = WTERMSIG(status);
        }
        return end;
    }

  private:
    int reap() {
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        reaped_ = true;
        return status;
    }

    pid_t pid_ = -1;
    bool reaped_ = false;
    int terminal_ = -1;
};
