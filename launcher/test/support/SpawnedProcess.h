#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

// A program running in the background while a test talks to it: started with
// its standard output and error going to files, so the test can watch them
// grow, send it signals, type on its terminal, and wait for its end with a
// limit. A child still running when the object goes away is killed and reaped,
// so a failed test leaves nothing behind. Stop signals are unblocked and at
// their defaults in the child, whatever the test process has done with them.
class SpawnedProcess {
  public:
    // Throws std::runtime_error when the program cannot be started. The
    // environment is the test's own with the given NAME=VALUE entries replacing
    // or adding to it. With onTerminal the child leads a new session whose
    // controlling terminal is a pseudo-terminal the test types on; standard
    // input is /dev/null otherwise.
    SpawnedProcess(const std::string& program, const std::vector<std::string>& args,
                   const std::string& outFile, const std::string& errFile,
                   const std::vector<std::string>& environmentChanges = {},
                   bool onTerminal = false);
    ~SpawnedProcess();
    SpawnedProcess(const SpawnedProcess&) = delete;
    SpawnedProcess& operator=(const SpawnedProcess&) = delete;

    pid_t pid() const { return pid_; }
    void signal(int signalNumber) const;
    // Types on its terminal, as a user at the keyboard would.
    void type(const std::string& text) const;
    // Whether it has ended. It is left a zombie until waitForEnd, so its pid
    // cannot pass to another process while the test may still signal it.
    bool hasEnded() const;
    // The wait status once the child has ended within the limit.
    std::optional<int> waitForEnd(std::chrono::milliseconds limit);
    // Polls until the file holds the text; false at the limit or as soon as the
    // child has ended without it.
    bool waitForText(const std::string& file, const std::string& text,
                     std::chrono::milliseconds limit);

  private:
    pid_t pid_ = -1;
    int terminal_ = -1;
    std::optional<int> status_;
};

// Waits for a child of this process (its own or one it inherited as a
// subreaper) to end within the limit; its wait status.
std::optional<int> reapWithin(pid_t pid, std::chrono::milliseconds limit);

// The exit status in a wait status, else -1 (no status, or ended by a signal).
int exitCodeOf(const std::optional<int>& status);

// Polls until the file holds the text, for at most the limit.
bool waitForText(const std::string& file, const std::string& text, std::chrono::milliseconds limit);
