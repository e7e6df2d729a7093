#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/LauncherRunner.h"
#include "support/TempDir.h"

// The files the launcher reads, in the forms a careless or hostile setup gives
// them: something that is no regular file in the place of one, a byte-order mark,
// a value of many placeholders. Each is read or refused at once, never waited on.
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

void makeHome(const std::string& home, const std::string& version) {
    fs::create_directories(home + "/lib/server");
    std::ofstream(home + "/release") << "JAVA_VERSION=\"" << version << "\"\nOS_ARCH=\"amd64\"\n";
    std::ofstream(home + "/lib/server/libjvm.so") << "no library";
}

struct Row {
    std::string expected;
    std::vector<std::string> args;
    // JAVA_HOME, and the roots the inventory library searches besides the machine's.
    std::string javaHome = "";
    std::string inventoryRoots = "";
    std::string program = LAUNCHER_BINARY;
};

TEST(ReadersThroughLauncherTest, EveryFileIsReadOrRefusedWithoutWaiting) {
    TempDir dir;
    fs::create_directories(dir.path("fifo-instance"));
    ASSERT_EQ(0, mkfifo(dir.path("fifo-instance/launcher.yml").c_str(), 0644));
    ASSERT_EQ(0, mkfifo(dir.path("libjvm.so").c_str(), 0644));
    // A home whose release file is a FIFO, for JAVA_HOME and as an inventory root
    // beside an older home that is fine.
    makeHome(dir.path("roots/jdk61"), "61");
    fs::remove(dir.path("roots/jdk61/release"));
    ASSERT_EQ(0, mkfifo(dir.path("roots/jdk61/release").c_str(), 0644));
    makeHome(dir.path("roots/jdk60"), "60");
    fs::create_directories(dir.path("alone"));
    fs::copy_file(LAUNCHER_BINARY, dir.path("alone/launcher"));
    fs::create_directories(dir.path("fifo-inventory"));
    fs::copy_file(LAUNCHER_BINARY, dir.path("fifo-inventory/launcher"));
    ASSERT_EQ(0, mkfifo(dir.path("fifo-inventory/libinventory.so").c_str(), 0644));
    // Saved by an editor that marks UTF-8.
    fs::create_directories(dir.path("bom"));
    dir.write("bom/launcher.yml",
              "\xEF\xBB\xBFlauncher-parameters:\n  java-home: " + dir.path("nowhere") + "\n");
    // 3 MB of placeholders in one value.
    fs::create_directories(dir.path("many"));
    std::string many =
        "launcher-parameters:\n  java-home: " + dir.path("nowhere") + "\n  service-name: ";
    for (int i = 0; i < 160000; ++i) {
        many += "${launcher.version}";
    }
    dir.write("many/launcher.yml", many + "\n");

    const std::string notRegular = "'. Error: not a regular file\n";
    const std::string noLibrary = "4 Cannot find JVM library. Paths tried: '" +
                                  dir.path("nowhere") + "/jre/lib/amd64/server/libjvm.so', '" +
                                  dir.path("nowhere") + "/lib/amd64/server/libjvm.so', '" +
                                  dir.path("nowhere") + "/lib/server/libjvm.so'\n";
    const Row rows[] = {
        {"20 Cannot read file '" + dir.path("fifo-instance/launcher.yml") + notRegular,
         {"--instance", dir.path("fifo-instance")}},
        {"20 stderr: Cannot read file '" + dir.path("libjvm.so") + notRegular,
         {"--jvmdll", dir.path("libjvm.so")}},
        // A FIFO in the place of the PID file is neither read, nor written, nor deleted.
        {"3 stderr: PID file '" + dir.path("libjvm.so") +
             "' exists and cannot be deleted. Error: Cannot delete file '" + dir.path("libjvm.so") +
             notRegular,
         {"--pidfile", dir.path("libjvm.so"), "--jvmdll", dir.path("none.so")}},
        {"20 IDS_INVENTORY_CALL_ERROR\nstderr: Cannot read file '" +
             dir.path("roots/jdk61/release") + notRegular,
         {},
         dir.path("roots/jdk61"),
         "",
         dir.path("alone/launcher")},
        {"20 stderr: A library format is not ELF: '" + dir.path("roots/jdk60") +
             "/lib/server/libjvm.so'\n",
         {},
         "",
         dir.path("roots")},
        {"4 IDS_INVENTORY_CALL_ERROR\nCannot guess JAVA_HOME, it is not set explicitly, neither "
         "Orvik Inventory nor environment variable contains a suitable Java version.\n",
         {},
         "",
         "",
         dir.path("fifo-inventory/launcher")},
        {noLibrary, {"--instance", dir.path("bom")}},
        {noLibrary, {"--instance", dir.path("many")}},
    };
    for (const Row& row : rows) {
        std::vector<std::string> args = {"start",    "--quiet",       "--jclasspath",
                                         dir.path(), "--jifaceclass", "contract.Missing"};
        args.insert(args.end(), row.args.begin(), row.args.end());
        ProcessRunner runner = launcherRunner(args, row.program, 5s);
        if (!row.javaHome.empty()) {
            runner.env("JAVA_HOME", row.javaHome);
        }
        if (!row.inventoryRoots.empty()) {
            runner.env("LAUNCHER_INVENTORY_JAVA_ROOTS", row.inventoryRoots);
        }
        // A hang ends at the runner's limit, which the summary shows as exit code -1.
        EXPECT_EQ(row.expected, runner.run().summary());
    }
    EXPECT_TRUE(fs::is_fifo(dir.path("libjvm.so")));
}

}  // namespace
