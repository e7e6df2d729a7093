#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/LauncherRunner.h"
#include "support/TempDir.h"

// A root launcher against a local user, nobody, who owns the directories it was given
// for its PID file and logs. Every attack is laid out beforehand (links planted, locks
// taken), so the kernel's own symlink protection plays no part in what is seen.
namespace {

using namespace std::chrono_literals;

constexpr uid_t kNobody = 65534;

// What a file is: its content and its modification time, or "absent".
std::string snapshot(const std::string& path) {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0) {
        return "absent";
    }
    return readWholeFile(path) + "@" + std::to_string(info.st_mtim.tv_sec) + "." +
           std::to_string(info.st_mtim.tv_nsec);
}

class UntrustedFilesThroughLauncherTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (geteuid() != 0 || access("/usr/bin/setpriv", X_OK) != 0 || !getpwuid(kNobody)) {
            GTEST_SKIP() << "needs root, setpriv and the user nobody: the attacks are another "
                            "user's against root";
        }
        ASSERT_EQ(0, chmod(dir.path().c_str(), 0755));
        dir.mkdir("att");
        ASSERT_EQ(0, chown(att().c_str(), kNobody, kNobody));
        dir.mkdir("root");
        ASSERT_EQ(0, chmod(dir.path("root").c_str(), 0700));
        dir.write("root/secret", "root's own\n");
        // An old time, so that any write shows.
        const timespec old[2] = {{1000000, 0}, {1000000, 0}};
        ASSERT_EQ(0, utimensat(AT_FDCWD, dir.path("root/secret").c_str(), old, 0));
    }

    std::string att(const std::string& name = "") const {
        return dir.path("att") + (name.empty() ? "" : "/" + name);
    }
    // A link of nobody's in nobody's directory.
    void plant(const std::string& name, const std::string& target) const {
        ASSERT_EQ(0, symlink(target.c_str(), att(name).c_str()));
        ASSERT_EQ(0, lchown(att(name).c_str(), kNobody, kNobody));
    }
    // Nobody's own file.
    void give(const std::string& name, const std::string& content) const {
        dir.write("att/" + name, content);
        ASSERT_EQ(0, chown(att(name).c_str(), kNobody, kNobody));
    }
    std::vector<std::string> start(std::vector<std::string> more) const {
        std::vector<std::string> args = {
            "start",         "--javahome",    JVM_TEST_JAVA_HOME,   "--jclasspath",
            JVM_FIXTURE_JAR, "--jifaceclass", "contract.SigService"};
        args.insert(args.end(), more.begin(), more.end());
        return args;
    }
    static ProcessRunner asNobody(std::vector<std::string> command) {
        command.insert(command.begin(), {"--reuid=65534", "--regid=65534", "--clear-groups"});
        // As the launcher is run everywhere, so that its own settings hold for a copy too.
        return launcherRunner(std::move(command), "/usr/bin/setpriv");
    }

    TempDir dir;
};

TEST_F(UntrustedFilesThroughLauncherTest, APidFileLinkOfAnotherUserIsRefusedAndNothingIsWritten) {
    plant("missing.pid", dir.path("root/created"));
    plant("secret.pid", dir.path("root/secret"));
    const std::string before = snapshot(dir.path("root/secret"));
    for (const std::string name : {"missing.pid", "secret.pid"}) {
        const ProcessRunner::Result result =
            launcherRunner(start({"--pidfile", att(name)}), LAUNCHER_BINARY, 20s).run();
        EXPECT_EQ(3, result.exitCode) << result.summary();
        EXPECT_EQ("'" + att(name) + "' is not used: the symbolic link '" + att(name) +
                      "' belongs to another user\n",
                  result.err);
        struct stat info {};
        EXPECT_EQ(0, lstat(att(name).c_str(), &info)) << "the link itself was deleted";
    }
    EXPECT_EQ("absent", snapshot(dir.path("root/created")));
    EXPECT_EQ(before, snapshot(dir.path("root/secret")));
}

// The log's link is neither written through nor rotated away: it stays where it is.
TEST_F(UntrustedFilesThroughLauncherTest, ALogLinkOfAnotherUserIsNeitherWrittenNorRotated) {
    const std::string before = snapshot(dir.path("root/secret"));
    for (const std::string target : {"root/secret", "root/created"}) {
        SCOPED_TRACE(target);
        plant("launcher.log", dir.path(target));
        const ProcessRunner::Result result =
            launcherRunner(start({"--clog", att("launcher.log")}), LAUNCHER_BINARY, 20s).run();
        EXPECT_EQ(10, result.exitCode) << result.summary();
        EXPECT_EQ("'" + att("launcher.log") + "' is not used: the symbolic link '" +
                      att("launcher.log") + "' belongs to another user\n",
                  result.err);
        EXPECT_EQ(dir.path(target), std::filesystem::read_symlink(att("launcher.log")));
        EXPECT_FALSE(pathExists(att("launcher.log.1")));
        ASSERT_EQ(0, unlink(att("launcher.log").c_str()));
    }
    EXPECT_EQ("absent", snapshot(dir.path("root/created")));
    EXPECT_EQ(before, snapshot(dir.path("root/secret")));

    // Nor is a missing log directory made under it (log-file, which no command-line
    // check looks at first).
    plant("sub", dir.path("root"));
    dir.mkdir("instance");
    dir.write("instance/launcher.yml",
              "launcher-parameters:\n  log-file: " + att("sub/new/launcher.log") + "\n");
    const ProcessRunner::Result underLink =
        launcherRunner(start({"--instance", dir.path("instance")}), LAUNCHER_BINARY, 20s).run();
    EXPECT_EQ(10, underLink.exitCode);
    EXPECT_NE(std::string::npos,
              underLink.err.find("the symbolic link '" + att("sub") + "' belongs to another user"))
        << underLink.summary();
    EXPECT_FALSE(pathExists(dir.path("root/new")));

    // Root's own link is followed, and the log is rotated where it really lies.
    ASSERT_EQ(0, symlink(dir.path("root/real.log").c_str(), att("launcher.log").c_str()));
    std::vector<std::string> failing = start({"--clog", att("launcher.log")});
    failing[6] = "no.Such";
    for (int run = 0; run < 2; ++run) {
        const ProcessRunner::Result result = launcherRunner(failing).run();
        EXPECT_EQ(7, result.exitCode) << result.summary();
    }
    EXPECT_NE("", readWholeFile(dir.path("root/real.log")));
    EXPECT_NE("", readWholeFile(dir.path("root/real.log.1")));
    EXPECT_EQ(dir.path("root/real.log"), std::filesystem::read_symlink(att("launcher.log")));
}

// Standard streams are appended neither through another user's link nor into a file
// with other names, which a hard link planted beside them would make root's own file.
TEST_F(UntrustedFilesThroughLauncherTest, RedirectionsRefuseLinksOfAnotherUserAndHardLinks) {
    const std::string before = snapshot(dir.path("root/secret"));
    plant("link", dir.path("root/secret"));
    ASSERT_EQ(0, link(dir.path("root/secret").c_str(), att("hard").c_str()));
    const std::string refusedLink = "'" + att("link") + "' is not used: the symbolic link '" +
                                    att("link") + "' belongs to another user\n";
    const std::string refusedHard =
        "'" + att("hard") + "' is not written: the file has other names (hard links)\n";
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"--cout", att("link")}, refusedLink},
        {{"--cerr", att("link")}, refusedLink},
        {{"--cstd", att("link")}, refusedLink},
        {{"--cout", att("hard")}, refusedHard},
    };
    for (const auto& [redirection, refusal] : cases) {
        const ProcessRunner::Result result =
            launcherRunner(start(redirection), LAUNCHER_BINARY, 20s).run();
        EXPECT_EQ(1, result.exitCode) << result.summary();
        EXPECT_EQ(refusal, result.out) << redirection[0];
    }
    EXPECT_EQ(before, snapshot(dir.path("root/secret")));
}

// Whatever the umask, nobody else may rewrite the number root's stop mode will signal,
// nor what the launcher logged.
TEST_F(UntrustedFilesThroughLauncherTest, TheUmaskDoesNotOpenThePidFileOrTheLogToOthers) {
    const mode_t previous = umask(0);
    ProcessRunner::Running service =
        launcherRunner(start({"--pidfile", att("u.pid"), "--clog", att("u.log")})).start();
    umask(previous);
    ASSERT_TRUE(eventually(
        [&] { return !readWholeFile(att("u.pid")).empty() || service.hasEnded(); }, 60s));
    for (const std::string name : {"u.pid", "u.log"}) {
        struct stat info {};
        ASSERT_EQ(0, stat(att(name).c_str(), &info));
        EXPECT_EQ(0644, info.st_mode & 07777) << name;
    }
    service.signal(SIGUSR1);
    EXPECT_EQ(0, service.wait().exitCode) << service.wait().summary();
}

// The number in a file that another user writes and locks names a process of root's:
// the lock proves only that someone holds it, and that someone is not the process.
TEST_F(UntrustedFilesThroughLauncherTest, AProcessThatDoesNotHoldThePidFileIsNeverSignalled) {
    ProcessRunner::Running sleeper = ProcessRunner("/bin/sleep").args({"60"}).start();
    const std::string pid = std::to_string(sleeper.pid());
    give("p.pid", pid);
    // One process that keeps the lock, so that nothing outlives the test.
    ProcessRunner::Running holder =
        asNobody({"/bin/sh", "-c", "exec 9<\"$0\" && /usr/bin/flock 9 && exec /bin/sleep 60",
                  att("p.pid")})
            .timeout(60s)
            .start();
    struct stat info {};
    ASSERT_EQ(0, stat(att("p.pid").c_str(), &info));
    ASSERT_TRUE(eventually(
        [&] {
            return readWholeFile("/proc/locks").find(":" + std::to_string(info.st_ino) + " ") !=
                   std::string::npos;
        },
        10s));
    const ProcessRunner::Result result =
        launcherRunner({"stop", "--pidfile", att("p.pid"), "--timeout", "2000"}).run();
    EXPECT_EQ(11, result.exitCode) << result.summary();
    EXPECT_EQ("Launcher with PID=" + pid + " not found, nothing was stopped\n", result.err);
    EXPECT_FALSE(sleeper.hasEnded());
    EXPECT_EQ(pid, readWholeFile(att("p.pid")));
}

// The ordinary case beside it: the service user's own launcher and PID file, stopped
// by root.
TEST_F(UntrustedFilesThroughLauncherTest, ALauncherOfTheServiceUserIsStoppedByRoot) {
    std::filesystem::copy_file(LAUNCHER_BINARY, dir.path("launcher"));
    std::filesystem::copy_file(JVM_FIXTURE_JAR, dir.path("fixtures.jar"));
    std::vector<std::string> args = start({"--pidfile", att("svc.pid")});
    args[4] = dir.path("fixtures.jar");
    args.insert(args.begin(), dir.path("launcher"));
    ProcessRunner::Running service = asNobody(args).timeout(60s).start();
    ASSERT_TRUE(eventually(
        [&] { return !readWholeFile(att("svc.pid")).empty() || service.hasEnded(); }, 60s));
    const std::string pid = readWholeFile(att("svc.pid"));
    const ProcessRunner::Result result =
        launcherRunner({"stop", "--pidfile", att("svc.pid"), "--timeout", "20000"}).run();
    EXPECT_EQ(0, result.exitCode) << result.summary();
    EXPECT_EQ("Launcher with PID=" + pid + " stopped gracefully\n", result.err);
    EXPECT_EQ(0, service.wait().exitCode) << service.wait().summary();
}

}  // namespace
