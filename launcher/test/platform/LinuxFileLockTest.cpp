#include "platform/LinuxFileLock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "fakes/FakeSystemUtils.h"
#include "platform/LauncherOsException.h"
#include "platform/TextConversion.h"
#include "support/Catalogue.h"
#include "support/TempDir.h"

namespace {

// Each call opens the file anew, and a lock belongs to an open file, so a lock this
// process holds meets the calls as another process's would.
TEST(LinuxFileLockTest, AHeldLockNamesItsHolderAndAReplacedFileIsNeitherHeldNorDeleted) {
    ScopedCatalogue english;
    FakeSystemUtils system;
    LinuxFileLock linuxLock{system};
    IFileLock& lock = linuxLock;
    TempDir dir;
    const std::wstring path = dir.wpath("launcher.pid");
    dir.write("launcher.pid", "stale content");
    const int held = lock.acquire(path, "4242");
    ASSERT_GE(held, 0);
    EXPECT_NE(0, fcntl(held, F_GETFD) & FD_CLOEXEC) << "a child process would inherit the lock";
    const IFileLock::Inspection found = lock.inspect(path);
    EXPECT_TRUE(found.regular);
    EXPECT_EQ("4242", found.content);
    EXPECT_EQ(getpid(), found.holder);
    EXPECT_EQ(-1, lock.acquire(path, "99"));
    EXPECT_EQ(IFileLock::DeleteResult::Locked, lock.deleteUnlessLocked(path));
    EXPECT_EQ("4242", readWholeFile(dir.path("launcher.pid")));

    // A file put in its place by someone else is neither held nor ours to delete.
    ASSERT_EQ(0, unlink(dir.path("launcher.pid").c_str()));
    dir.write("launcher.pid", "3");
    EXPECT_EQ(0, lock.inspect(path).holder);
    EXPECT_EQ(IFileLock::DeleteResult::Locked, lock.deleteHeld(held, path));
    EXPECT_EQ(IFileLock::DeleteResult::Replaced, lock.deleteUnlessLocked(path, &found));
    EXPECT_EQ("3", readWholeFile(dir.path("launcher.pid")));
    lock.release(held);
    EXPECT_EQ(IFileLock::DeleteResult::Deleted, lock.deleteUnlessLocked(path));
    EXPECT_EQ(IFileLock::DeleteResult::Absent, lock.deleteUnlessLocked(path));
    EXPECT_FALSE(lock.inspect(path).present);
    EXPECT_THROW(lock.acquire(dir.wpath("no/launcher.pid"), "1"), LauncherOsException);
}

// An existing file is written only when it is this user's and has no other name: a PID
// file another user prepared, or a link to some other file, would let that user decide
// what the launcher overwrites.
TEST(LinuxFileLockTest, AnotherUsersFileOrOneWithOtherNamesIsNeverWritten) {
    ScopedCatalogue english;
    FakeSystemUtils system;
    LinuxFileLock lock{system};
    TempDir dir;
    dir.write("linked.pid", "12");
    ASSERT_EQ(0, link(dir.path("linked.pid").c_str(), dir.path("other-name").c_str()));
    std::vector<std::pair<std::string, std::string>> cases = {
        {"linked.pid", "' is not written: the file has other names (hard links)"}};
    if (geteuid() == 0) {
        dir.write("foreign.pid", "34");
        ASSERT_EQ(0, chown(dir.path("foreign.pid").c_str(), 65534, 65534));
        cases.push_back({"foreign.pid", "' is not written: it is not a regular file of this user"});
    }
    for (const auto& [name, refusal] : cases) {
        const std::string before = readWholeFile(dir.path(name));
        try {
            lock.acquire(dir.wpath(name), "4242");
            ADD_FAILURE() << name << " was taken over";
        } catch (const LauncherOsException& e) {
            EXPECT_EQ(toWide("'" + dir.path(name) + refusal), e.getMessage());
        }
        EXPECT_EQ(before, readWholeFile(dir.path(name)));
    }
}

}  // namespace
