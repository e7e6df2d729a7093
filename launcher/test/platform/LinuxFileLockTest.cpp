#include "platform/LinuxFileLock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "fakes/FakeSystemUtils.h"
#include "platform/LauncherException.h"
#include "support/Catalogue.h"
#include "support/ForkedProcess.h"
#include "support/TempDir.h"

namespace {

TEST(LinuxFileLockTest, LockOfAnotherProcessKeepsTheFileUntilThatProcessEnds) {
    ScopedCatalogue english;
    FakeSystemUtils system;
    LinuxFileLock lock{system};
    TempDir dir;
    const std::wstring path = dir.wpath("launcher.pid");
    dir.write("launcher.pid", "stale content");
    int ready[2];
    ASSERT_EQ(0, pipe(ready));
    ForkedProcess holder([&] {
        (void)!write(ready[1], lock.acquire(path, "4242") >= 0 ? "y" : "n", 1);
        for (;;) {
            pause();
        }
    });
    char answer = 0;
    ASSERT_EQ(1, read(ready[0], &answer, 1));
    close(ready[0]);
    close(ready[1]);
    ASSERT_EQ('y', answer);
    EXPECT_TRUE(lock.isLocked(path));
    EXPECT_EQ(-1, lock.acquire(path, "99"));
    EXPECT_EQ(IFileLock::DeleteResult::Locked, lock.deleteUnlessLocked(path));
    EXPECT_EQ("4242", readWholeFile(dir.path("launcher.pid")));

    // However the owner ends, the kernel drops its lock.
    kill(holder.pid(), SIGKILL);
    holder.join();
    EXPECT_FALSE(lock.isLocked(path));
    const int handle = lock.acquire(path, "99");
    ASSERT_GE(handle, 0);
    EXPECT_EQ("99", readWholeFile(dir.path("launcher.pid")));
    EXPECT_NE(0, fcntl(handle, F_GETFD) & FD_CLOEXEC) << "a child process would inherit the lock";

    // A file put in its place by someone else is neither held nor locked.
    ASSERT_EQ(0, unlink(dir.path("launcher.pid").c_str()));
    dir.write("launcher.pid", "3");
    EXPECT_FALSE(lock.holdsFileAt(handle, path));
    EXPECT_FALSE(lock.isLocked(path));
    lock.release(handle);
    try {
        lock.acquire(dir.wpath("no/launcher.pid"), "1");
        ADD_FAILURE() << "a PID file was written in a missing directory";
    } catch (const LauncherException& e) {
        EXPECT_EQ(L"Cannot write file '" + dir.wpath("no/launcher.pid") + L"'. Error: " +
                      system.lastError,
                  e.getMessage());
    }
}

}  // namespace
