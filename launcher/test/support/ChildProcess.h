#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>

#include "platform/LauncherException.h"
#include "platform/TextConversion.h"

// What a body run in a forked child returned.
struct ChildResult {
    int exitCode = -1;   // 0 when the body returned normally
    std::string output;  // the text the body returned, or what it threw
};

// Runs body in a forked child and brings back the text it returns. For code
// that changes the process itself (its standard streams, its locale), which a
// test must not do to the runner. The result travels through a pipe of its own,
// so the body may redirect stdout and stderr freely.
inline ChildResult runInChild(const std::function<std::string()>& body) {
    int fds[2];
    if (pipe(fds) != 0) {
        throw std::runtime_error("pipe failed");
    }
    pid_t pid = fork();
    if (pid < 0) {
        throw std::runtime_error("fork failed");
    }
    if (pid == 0) {
        close(fds[0]);
        std::string text;
        int code = 0;
        try {
            text = body();
        } catch (const LauncherException& e) {
            text =
                "LauncherException " + std::to_string(e.getCode()) + ": " + toUtf8(e.getMessage());
            code = 2;
        } catch (const std::exception& e) {
            text = std::string("exception: ") + e.what();
            code = 3;
        }
        size_t written = 0;
        while (written < text.size()) {
            ssize_t n = ::write(fds[1], text.data() + written, text.size() - written);
            if (n <= 0) {
                break;
            }
            written += static_cast<size_t>(n);
        }
        close(fds[1]);
        // No exit handlers, no atexit flushes of streams shared with the parent.
        _exit(code);
    }
    close(fds[1]);
    ChildResult result;
    char buffer[4096];
    for (;;) {
        ssize_t n = read(fds[0], buffer, sizeof(buffer));
        if (n > 0) {
            result.output.append(buffer, static_cast<size_t>(n));
        } else if (n == 0 || errno != EINTR) {
            break;
        }
    }
    close(fds[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}
