#include "platform/LinuxFileLock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "fakes/FakeSystemUtils.h"
#include "platform/LauncherException.h"
#include "support/Catalogue.h"
#include "support/ForkedProcess.h"
#include "support/TempDir.h"

namespace {

std::string contentOf(const std::wstring& path) {
    std::ifstream in(toUtf8(path), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeText(const std::wstring& path, const std::string& text) {
    std::ofstream(toUtf8(path), std::ios::binary) << text;
}

class LinuxFileLockTest : public ::testing::Test {
  protected:
    // Another process that takes the lock and keeps it until it is killed.
    std::unique_ptr<ForkedProcess> holdInAnotherProcess(const std::wstring& path,
                                                       const std::string& content) {
        int ready[2];
        EXPECT_EQ(0, pipe(ready));
        auto child = std::make_unique<ForkedProcess>([&] {
            close(ready[0]);
            const bool held = lock.acquire(path, content) >= 0;
            (void)!write(ready[1], held ? "y" : "n", 1);
            for (;;) {
                pause();
            }
        });
        close(ready[1]);
        char answer = 0;
        EXPECT_EQ(1, read(ready[0], &answer, 1));
        EXPECT_EQ('y', answer);
        close(ready[0]);
        return child;
    }

    ScopedCatalogue english;
    FakeSystemUtils system;
    LinuxFileLock lock{system};
    TempDir scratch;
};

TEST_F(LinuxFileLockTest, LockOfAnotherProcessKeepsTheFileUntilThatProcessEnds) {
    const std::wstring path = scratch.wpath("launcher.pid");
    writeText(path, "stale content");
    auto holder = holdInAnotherProcess(path, "4242");
    EXPECT_EQ("4242", contentOf(path));

    EXPECT_TRUE(lock.isLocked(path));
    EXPECT_EQ(-1, lock.acquire(path, "99"));
    EXPECT_EQ(IFileLock::DeleteResult::Locked, lock.deleteUnlessLocked(path));
    EXPECT_EQ("4242", contentOf(path)) << "a refused acquire touched the file";

    // However the owner ends, the kernel drops its lock.
    kill(holder->pid(), SIGKILL);
    holder->join();
    EXPECT_FALSE(lock.isLocked(path));
    const int handle = lock.acquire(path, "99");
    ASSERT_GE(handle, 0);
    EXPECT_EQ("99", contentOf(path));
    EXPECT_TRUE(lock.holdsFileAt(handle, path));
    EXPECT_NE(0, fcntl(handle, F_GETFD) & FD_CLOEXEC) << "a child process would inherit the lock";
    lock.release(handle);
}

TEST_F(LinuxFileLockTest, OwnLockIsSeenThroughThePathToo) {
    const std::wstring path = scratch.wpath("own.pid");
    const int handle = lock.acquire(path, "1");
    ASSERT_GE(handle, 0);
    EXPECT_TRUE(lock.isLocked(path));
    EXPECT_EQ(-1, lock.acquire(path, "2"));
    EXPECT_EQ("1", contentOf(path));

    // Deleted and written anew by someone else: no longer ours.
    ASSERT_EQ(0, unlink(toUtf8(path).c_str()));
    writeText(path, "3");
    EXPECT_FALSE(lock.holdsFileAt(handle, path));
    EXPECT_FALSE(lock.isLocked(path));
    lock.release(handle);
}

TEST_F(LinuxFileLockTest, DeleteUnlessLocked) {
    const std::wstring path = scratch.wpath("stale.pid");
    EXPECT_EQ(IFileLock::DeleteResult::Absent, lock.deleteUnlessLocked(path));
    writeText(path, "12");
    EXPECT_EQ(IFileLock::DeleteResult::Deleted, lock.deleteUnlessLocked(path));
    EXPECT_FALSE(std::ifstream(toUtf8(path)).good());

    const std::wstring directory = scratch.wpath("dir.pid");
    mkdir(toUtf8(directory).c_str(), 0755);
    try {
        lock.deleteUnlessLocked(directory);
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(L"Cannot delete file '" + directory + L"'. Error: " + system.lastError,
                  e.getMessage());
    }
}

TEST_F(LinuxFileLockTest, FileThatCannotBeCreatedIsAWriteError) {
    const std::wstring path = scratch.wpath("missing/launcher.pid");
    try {
        lock.acquire(path, "1");
        FAIL() << "expected LauncherException";
    } catch (const LauncherException& e) {
        EXPECT_EQ(20, e.getCode());
        EXPECT_EQ(L"Cannot write file '" + path + L"'. Error: " + system.lastError, e.getMessage());
    }
    EXPECT_FALSE(lock.isLocked(path));
}

// Several processes clean up the same stale file and take it at the same instant:
// exactly one of them ends up holding it.
TEST_F(LinuxFileLockTest, OneWinnerWhenProcessesRaceForTheFile) {
    const std::wstring path = scratch.wpath("race.pid");
    for (int round = 0; round < 10; ++round) {
        writeText(path, "stale");
        int start[2];
        int results[2];
        ASSERT_EQ(0, pipe(start));
        ASSERT_EQ(0, pipe(results));
        std::vector<std::unique_ptr<ForkedProcess>> racers;
        for (int i = 0; i < 4; ++i) {
            racers.push_back(std::make_unique<ForkedProcess>([&, i] {
                close(start[1]);
                char go;
                (void)!read(start[0], &go, 1);
                bool won = false;
                if (lock.deleteUnlessLocked(path) != IFileLock::DeleteResult::Locked) {
                    won = lock.acquire(path, std::to_string(i)) >= 0;
                }
                (void)!write(results[1], won ? "w" : "l", 1);
                for (;;) {
                    pause();
                }
            }));
        }
        close(start[0]);
        close(start[1]);  // all go at once
        close(results[1]);
        std::string outcome;
        char c;
        while (outcome.size() < racers.size() && read(results[0], &c, 1) == 1) {
            outcome += c;
        }
        close(results[0]);
        EXPECT_EQ(1, std::count(outcome.begin(), outcome.end(), 'w')) << outcome;
        EXPECT_TRUE(lock.isLocked(path));
    }
}

}  // namespace
