#pragma once

#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

// A forked child that runs a body and exits; the body must stick to what is safe
// after fork in a threaded process (kill, sigqueue, pause, _exit and the like).
class ForkedProcess {
  public:
    explicit ForkedProcess(const std::function<void()>& body) {
        pid_ = fork();
        if (pid_ == 0) {
            body();
            _exit(0);
        }
    }
    ~ForkedProcess() {
        if (pid_ > 0 && !reaped_) {
            kill(pid_, SIGKILL);
            join();
        }
    }
    ForkedProcess(const ForkedProcess&) = delete;
    ForkedProcess& operator=(const ForkedProcess&) = delete;

    pid_t pid() const { return pid_; }

    // Waits for the child's end; its wait status.
    int join() {
        int status = 0;
        while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        reaped_ = true;
        return status;
    }

  private:
    pid_t pid_ = -1;
    bool reaped_ = false;
};
