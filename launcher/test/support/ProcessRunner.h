#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

// Runs a program as a child process with the arguments, environment and working
// directory a test chooses, and brings back its standard output, standard error
// and how it ended. A child still running at the time limit is killed, so a hang
// fails the test instead of blocking the suite. Standard input is /dev/null.
class ProcessRunner {
  public:
    struct Result {
        std::string out;
        std::string err;
        // The exit status when the child exited, else -1.
        int exitCode = -1;
        // The signal that ended the child, else 0.
        int signal = 0;
        bool timedOut = false;
    };

    // A child that start() left running, for tests that must act on it (signal it)
    // before it ends. Its time limit counts from start(); one never waited for is
    // killed and reaped when this object goes.
    class Running {
      public:
        Running(pid_t pid, int outFd, int errFd, std::chrono::steady_clock::time_point deadline);
        ~Running();
        Running(Running&& other) noexcept;
        Running& operator=(Running&&) = delete;
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

        pid_t pid() const { return pid_; }
        // kill(2) of the child; false when it is already gone or reaped.
        bool signal(int signalNumber) const;
        // Collects the output until the child ends or the time limit passes; once only.
        Result wait();

      private:
        pid_t pid_;
        int outFd_;
        int errFd_;
        std::chrono::steady_clock::time_point deadline_;
        bool reaped_ = false;
    };

    explicit ProcessRunner(std::string program);

    // The arguments after argv[0].
    ProcessRunner& args(std::vector<std::string> args);
    // What the child sees as argv[0]; the program path unless set.
    ProcessRunner& argv0(std::string name);
    // Changes to the environment inherited from the test process.
    ProcessRunner& env(const std::string& name, const std::string& value);
    ProcessRunner& unsetEnv(const std::string& name);
    // Starts from an empty environment instead of the test's own.
    ProcessRunner& clearEnv();
    ProcessRunner& workingDirectory(std::string directory);
    ProcessRunner& timeout(std::chrono::milliseconds limit);

    // Throws std::runtime_error when the program cannot be started at all.
    Result run() const;
    Running start() const;

  private:
    std::string program_;
    std::optional<std::string> argv0_;
    std::vector<std::string> args_;
    bool clearEnv_ = false;
    std::map<std::string, std::optional<std::string>> envChanges_;
    std::string workingDirectory_;
    std::chrono::milliseconds timeout_{30000};
};
