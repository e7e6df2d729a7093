#include "support/LauncherRunner.h"

#include <unistd.h>

ProcessRunner launcherRunner(std::vector<std::string> args, const std::string& program,
                             std::chrono::milliseconds limit) {
    ProcessRunner runner(program);
    runner.argv0("launcher")
        .args(std::move(args))
        .env("LC_ALL", "C")
        .env("LOCPATH", LAUNCHER_TEST_LOCALE_DIR)
        .unsetEnv("JVM_OPTS")
        .unsetEnv("JAVA_HOME")
        .unsetEnv("LAUNCHER_INVENTORY_JAVA_ROOTS")
        .unsetEnv("NOTIFY_SOCKET")
        .timeout(limit);
#if defined(__SANITIZE_ADDRESS__)
    // HotSpot handles SIGSEGV itself, and its threads are still alive when the leak
    // check would run at exit.
    runner.env("ASAN_OPTIONS", "detect_leaks=0:handle_segv=0");
#endif
    return runner;
}

bool canLimitProcesses() {
    return geteuid() == 0 && access("/usr/bin/setpriv", X_OK) == 0 &&
           access("/usr/bin/prlimit", X_OK) == 0;
}
