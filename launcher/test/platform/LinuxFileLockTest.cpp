#include "platform/LinuxFileLock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "fakes/FakeSystemUtils.h"
#include "platform/LauncherOsException.h"
#include "support/Catalogue.h"
#include "support/TempDir.h"

namespace {

// Each call opens the file anew, and a lock belongs to an open file, so a lock this
// process holds meets the calls as another process's would.
TEST(LinuxFileLockTest, AHeldLockKeepsTheFileAndAReplacedFileIsNotHeld) {
    ScopedCatalogue english;
    FakeSystemUtils system;
    LinuxFileLock lock{system};
    TempDir dir;
    const std::wstring path = dir.wpath("launcher.pid");
    dir.write("launcher.pid", "stale content");
    const int held = lock.acquire(path, "4242");
    ASSERT_GE(held, 0);
    EXPECT_NE(0, fcntl(held, F_GETFD) & FD_CLOEXEC) << "a child process would inherit the lock";
    EXPECT_TRUE(lock.isLocked(path));
    EXPECT_EQ(-1, lock.acquire(path, "99"));
    EXPECT_EQ(IFileLock::DeleteResult::Locked, lock.deleteUnlessLocked(path));
    EXPECT_EQ("4242", readWholeFile(dir.path("launcher.pid")));
    EXPECT_TRUE(lock.holdsFileAt(held, path));

    // A file put in its place by someone else is neither held nor locked.
    ASSERT_EQ(0, unlink(dir.path("launcher.pid").c_str()));
    dir.write("launcher.pid", "3");
    EXPECT_FALSE(lock.holdsFileAt(held, path));
    EXPECT_FALSE(lock.isLocked(path));
    lock.release(held);
    EXPECT_EQ(IFileLock::DeleteResult::Deleted, lock.deleteUnlessLocked(path));
    EXPECT_EQ(IFileLock::DeleteResult::Absent, lock.deleteUnlessLocked(path));
    EXPECT_THROW(lock.acquire(dir.wpath("no/launcher.pid"), "1"), LauncherOsException);
}

}  // namespace
