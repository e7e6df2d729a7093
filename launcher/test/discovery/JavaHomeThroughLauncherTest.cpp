#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/LauncherRunner.h"
#include "support/TempDir.h"

// The Java home a launcher finds when none is given: its inventory library (the
// real one, beside it) searches the machine, the roots of the environment and the
// launcher's own directory; a launcher without the library tries JAVA_HOME. The
// synthetic homes are far newer than any real Java, and their libjvm.so is no
// library at all, so the refusal to load it names the home that was chosen.
namespace {

namespace fs = std::filesystem;

void makeHome(const std::string& home, const std::string& version,
              const std::string& architecture = "x86_64",
              const std::string& libraryDirectory = "lib/server") {
    fs::create_directories(home + "/" + libraryDirectory);
    std::ofstream(home + "/release") << "IMPLEMENTOR=\"Synthetic\"\nJAVA_VERSION=\"" << version
                                     << "\"\nOS_ARCH=\"" << architecture << "\"\n";
    if (!libraryDirectory.empty()) {
        std::ofstream(home + "/" + libraryDirectory + "/libjvm.so") << "no library";
    }
}

// A copy of the launcher, with the inventory library beside it or without.
std::string copyLauncher(const std::string& directory, bool withLibrary) {
    fs::create_directories(directory);
    fs::copy_file(LAUNCHER_BINARY, directory + "/launcher");
    if (withLibrary) {
        fs::copy_file(INVENTORY_LIBRARY, directory + "/libinventory.so");
    }
    return directory + "/launcher";
}

TEST(JavaHomeThroughLauncherTest, TheInventoryOrJavaHomeChoosesTheHome) {
    TempDir dir;
    const std::string homes = dir.path("homes/");
    makeHome(homes + "jdk8", "1.8.0_292");
    makeHome(homes + "jdk40", "40.0.1");
    makeHome(homes + "jdk41-2", "41.0.2");
    makeHome(homes + "c-jdk41-10", "41.0.10", "x86_64", "jre/lib/amd64/server");
    makeHome(homes + "b-jdk41-10", "41.0.10", "amd64", "lib/amd64/server");
    // A link sorting first must not pass for a home of its own.
    fs::create_directory_symlink(homes + "c-jdk41-10", homes + "a-link");
    // Newer, but nothing the launcher could run.
    makeHome(homes + "thirty-two-bit", "50", "i386");
    makeHome(homes + "other-cpu", "51", "aarch64");
    makeHome(homes + "without-jvm", "52", "x86_64", "");
    makeHome(homes + "unclean", "54x");
    makeHome(homes + "without-release", "55");
    fs::remove(homes + "without-release/release");
    // Found by its real path; a root may itself be a Java home.
    makeHome(dir.path("elsewhere/jdk-43"), "43.0.1");
    fs::create_directories(dir.path("links"));
    fs::create_directory_symlink(dir.path("elsewhere/jdk-43"), dir.path("links/current"));
    makeHome(dir.path("single"), "42.0.1");
    dir.write("file", "");
    for (const char* version : {"11", "42", "99"}) {
        fs::create_directories(dir.path(std::string("min") + version));
        dir.write(std::string("min") + version + "/launcher.yml",
                  std::string("launcher-parameters:\n  minimal-java-version: ") + version + "\n");
    }
    // A runtime bundled with the launcher, beside its directory or one level up.
    const std::string up = copyLauncher(dir.path("up/bin"), true);
    makeHome(dir.path("up/jre"), "44.0.1");
    const std::string beside = copyLauncher(dir.path("beside/bin"), true);
    makeHome(dir.path("beside/bin/jdk"), "45.0.1");
    const std::string alone = copyLauncher(dir.path("alone"), false);

    const std::string shipped = LAUNCHER_BINARY, none = "-";
    const std::string notFound =
        "Cannot guess JAVA_HOME, it is not set explicitly, neither Orvik Inventory nor "
        "environment variable contains a suitable Java version.\n";
    auto chosen = [](const std::string& library) {
        return "20 stderr: A library format is not ELF: '" + library + "'\n";
    };
    const struct {
        std::string launcher, roots, javaHome, instance, outcome;
    } rows[] = {
        {shipped, homes, none, none, chosen(homes + "b-jdk41-10/lib/amd64/server/libjvm.so")},
        {shipped, homes, none, "min42", "4 " + notFound},
        {shipped, dir.path("links") + ":" + dir.path("single"), none, none,
         chosen(dir.path("elsewhere/jdk-43/lib/server/libjvm.so"))},
        {shipped, dir.path("single"), none, none, chosen(dir.path("single/lib/server/libjvm.so"))},
        // The library's own words never reach the user, only that it had some.
        {shipped, dir.path("file") + "::" + dir.path("missing"), none, "min99",
         "4 IDS_INVENTORY_CALL_ERROR\n" + notFound},
        // The machine's own Java: a real JVM that finds no such class.
        {shipped, none, none, none, "7 stderr: Cannot find Java class app/Main\n"},
        {up, none, none, none, chosen(dir.path("up/jre/lib/server/libjvm.so"))},
        {beside, none, none, none, chosen(dir.path("beside/bin/jdk/lib/server/libjvm.so"))},
        {alone, none, none, none, "4 IDS_INVENTORY_CALL_ERROR\n" + notFound},
        {alone, none, homes + "jdk8", "min11", "4 IDS_INVENTORY_CALL_ERROR\n" + notFound},
        {alone, none, homes + "jdk41-2", none,
         "20 IDS_INVENTORY_CALL_ERROR\nstderr: A library format is not ELF: '" + homes +
             "jdk41-2/lib/server/libjvm.so'\n"},
    };
    const std::string log = dir.path("launcher.log");
    for (const auto& row : rows) {
        ProcessRunner runner =
            launcherRunner({"start", "--quiet", "--jclasspath", dir.path("file"), "--jifaceclass",
                            "app.Main", "--clog", log, "--instance",
                            row.instance == none ? dir.path() : dir.path(row.instance)},
                           row.launcher);
        if (row.roots != none) {
            runner.env("LAUNCHER_INVENTORY_JAVA_ROOTS", row.roots);
        }
        if (row.javaHome != none) {
            runner.env("JAVA_HOME", row.javaHome);
        }
        EXPECT_EQ(row.outcome, runner.run().summary())
            << row.launcher << " " << row.roots << " " << row.javaHome;
    }
    EXPECT_NE(std::string::npos, readWholeFile(log).find("Using a JAVA_HOME value from a system "
                                                         "environment JAVA_HOME=" +
                                                         homes + "jdk41-2"));
}

}  // namespace
