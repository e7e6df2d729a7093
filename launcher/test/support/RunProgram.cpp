#include "support/RunProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

extern char** environ;

namespace {

std::vector<std::string> mergedEnvironment(const std::vector<std::string>& extra) {
    std::vector<std::string> merged;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        std::string text = *entry;
        std::string name = text.substr(0, text.find('='));
        bool replaced = false;
        for (const std::string& e : extra) {
            if (e.substr(0, e.find('=')) == name) {
                replaced = true;
                break;
            }
        }
        if (!replaced) {
            merged.push_back(text);
        }
    }
    merged.insert(merged.end(), extra.begin(), extra.end());
    return merged;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

void closeQuietly(int& fd) {
    if (fd >= 0) {
        ::close(fd);
        fd = -1;
    }
}

}  // namespace

ProgramResult runProgram(const std::vector<std::string>& argv, std::chrono::milliseconds timeout,
                         const std::vector<std::string>& extraEnvironment) {
    if (argv.empty()) {
        throw std::invalid_argument("runProgram needs a program");
    }
    int outPipe[2];
    int errPipe[2];
    if (pipe2(outPipe, O_CLOEXEC) != 0) {
        throw std::runtime_error(std::string("pipe: ") + strerror(errno));
    }
    if (pipe2(errPipe, O_CLOEXEC) != 0) {
        ::close(outPipe[0]);
        ::close(outPipe[1]);
        throw std::runtime_error(std::string("pipe: ") + strerror(errno));
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, outPipe[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errPipe[1], STDERR_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);

    std::vector<std::string> args = argv;
    std::vector<std::string> environment = mergedEnvironment(extraEnvironment);
    std::vector<char*> argPointers = pointers(args);
    std::vector<char*> envPointers = pointers(environment);

    pid_t pid = -1;
    int spawnError = posix_spawn(&pid, args[0].c_str(), &actions, nullptr, argPointers.data(),
                                 envPointers.data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(outPipe[1]);
    ::close(errPipe[1]);
    if (spawnError != 0) {
        ::close(outPipe[0]);
        ::close(errPipe[0]);
        throw std::runtime_error("cannot start " + args[0] + ": " + strerror(spawnError));
    }

    ProgramResult result;
    int fds[2] = {outPipe[0], errPipe[0]};
    std::string* sinks[2] = {&result.out, &result.err};
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (fds[0] >= 0 || fds[1] >= 0) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            result.timedOut = true;
            kill(pid, SIGKILL);
            break;
        }
        pollfd polls[2];
        nfds_t count = 0;
        int which[2];
        for (int i = 0; i < 2; ++i) {
            if (fds[i] >= 0) {
                polls[count] = {fds[i], POLLIN, 0};
                which[count++] = i;
            }
        }
        int ready = poll(polls, count, static_cast<int>(left.count()));
        if (ready < 0 && errno != EINTR) {
            kill(pid, SIGKILL);
            break;
        }
        for (nfds_t k = 0; ready > 0 && k < count; ++k) {
            if (polls[k].revents == 0) {
                continue;
            }
            char buffer[4096];
            ssize_t n = read(polls[k].fd, buffer, sizeof buffer);
            if (n > 0) {
                sinks[which[k]]->append(buffer, static_cast<size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                closeQuietly(fds[which[k]]);
            }
        }
    }
    closeQuietly(fds[0]);
    closeQuietly(fds[1]);

    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        result.signal = WTERMSIG(status);
    }
    return result;
}
