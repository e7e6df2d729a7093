#pragma once

#include <signal.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/TempDir.h"

// Runs a program, or a lambda in a forked copy of the test, as a child process. A
// program's output goes to files, not pipes, so a chatty child nobody reads never
// blocks; one still running at its time limit is killed, so a hang fails the test
// instead of blocking the suite. Stop signals start out unblocked and at their
// defaults, whatever the test process has done with them.
class ProcessRunner {
  public:
    struct Result {
        // A lambda's: the text it returned; its own streams are the test's.
        std::string out;
        std::string err;
        // -1 unless it exited.
        int exitCode = -1;
        int signal = 0;
        bool timedOut = false;
        // "<exit code> <out>[stderr: <err>]": how it ended, as one text.
        std::string summary() const {
            return std::to_string(exitCode) + " " + out + (err.empty() ? "" : "stderr: " + err);
        }
    };

    // A child left running while the test acts on it; killed and reaped when it goes.
    class Running {
      public:
        explicit Running(const ProcessRunner& runner);
        ~Running();
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

        pid_t pid() const { return pid_; }
        bool signal(int signalNumber) const { return !result_ && ::kill(pid_, signalNumber) == 0; }
        // Types on its terminal, as a user at the keyboard would.
        void type(const std::string& text) const;
        std::string out() const { return readWholeFile(files_.path("out")); }
        // Whether it has ended. It stays a zombie until wait(), so its PID cannot
        // pass to another process while the test may still signal it.
        bool hasEnded() const;
        // Waits for the end until the time limit; the same result on every call.
        const Result& wait();

      private:
        TempDir files_;
        pid_t pid_ = -1;
        int terminal_ = -1;
        std::chrono::steady_clock::time_point deadline_;
        std::optional<Result> result_;
    };

    explicit ProcessRunner(std::string program) : program_(std::move(program)) {}
    // The child runs the body and ends with 0; the body may rely only on what a
    // fork of a threaded process keeps working.
    explicit ProcessRunner(std::function<std::string()> body) : body_(std::move(body)) {}

    // The arguments after argv[0], which is the program unless argv0 says otherwise.
    ProcessRunner& args(std::vector<std::string> args) { return set(args_, std::move(args)); }
    ProcessRunner& argv0(std::string name) { return set(argv0_, std::move(name)); }
    ProcessRunner& env(const std::string& name, std::optional<std::string> value) {
        return set(env_[name], std::move(value));
    }
    ProcessRunner& unsetEnv(const std::string& name) { return env(name, std::nullopt); }
    // Starts from an empty environment instead of the test's own.
    ProcessRunner& clearEnv() { return set(clearEnv_, true); }
    ProcessRunner& workingDirectory(std::string directory) {
        return set(directory_, std::move(directory));
    }
    ProcessRunner& timeout(std::chrono::milliseconds limit) { return set(timeout_, limit); }
    // Leads a session of its own whose controlling terminal is a new pseudo-terminal.
    ProcessRunner& onTerminal() { return set(onTerminal_, true); }

    Result run() const { return Running(*this).wait(); }
    Running start() const { return Running(*this); }

  private:
    template <typename Field, typename Value>
    ProcessRunner& set(Field& field, Value&& value) {
        field = std::forward<Value>(value);
        return *this;
    }

    std::string program_;
    std::function<std::string()> body_;
    std::string argv0_;
    std::vector<std::string> args_;
    bool clearEnv_ = false;
    std::map<std::string, std::optional<std::string>> env_;
    std::string directory_;
    std::chrono::milliseconds timeout_{30000};
    bool onTerminal_ = false;
};

// Polls until the condition holds; false when it still does not at the limit.
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit);

// Waits for a child of the test, or one it adopted as a subreaper, to exit; its exit
// code, or -1 when it ended otherwise. One still running at the limit is killed.
int waitForExit(pid_t pid, std::chrono::milliseconds limit);
