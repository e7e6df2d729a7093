#include "discovery/Inventory.h"

#include <dlfcn.h>
#include <stdlib.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "discovery/GraalAdapter.h"
#include "discovery/IInventoryErrorConsumer.h"
#include "discovery/InventoryAndEnvJavaFinder.h"
#include "discovery/JavaLibResolver.h"
#include "discovery/ReleaseFileJavaChecker.h"
#include "fakes/FakeConsole.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"
#include "support/Catalogue.h"
#include "support/LogLines.h"
#include "support/RealOsWithFakeProcess.h"
#include "support/TempDir.h"

namespace {

// Keeps every error text it is handed.
class RecordingErrorConsumer : public IInventoryErrorConsumer {
  public:
    void onError(const char* text) override { errors.push_back(text); }
    std::vector<std::string> errors;
};

// A control of the scripted library (hosts/), through a handle of the test's
// own that keeps it loaded, and its state with it, from test to test.
template <typename F>
F scripted(const char* name) {
    static void* const handle = dlopen(SCRIPTED_INVENTORY, RTLD_NOW);
    return reinterpret_cast<F>(dlsym(handle, name));
}
// answer: what findJavaComponent returns (null for null); error: what getLastError returns.
void script(const char* answer, const char* error) {
    scripted<void (*)(const char*, const char*)>("scriptedInventoryReset")(answer, error);
}
int liveIsolates() {
    return scripted<int (*)()>("scriptedInventoryLiveIsolates")();
}

class InventoryTest : public ::testing::Test {
  protected:
    void SetUp() override {
        script(nullptr, "");
        resetLoggerForTesting();
        initLogger(dir.wpath("launcher.log"));
    }
    void TearDown() override {
        shutdownLogger();
        resetLoggerForTesting();
        unsetenv("LAUNCHER_INVENTORY_JAVA_ROOTS");
    }

    // The answer of the real library, with the extra search roots set to roots.
    std::wstring ask(int minimalVersion, const std::string& roots) {
        setenv("LAUNCHER_INVENTORY_JAVA_ROOTS", roots.c_str(), 1);
        return Inventory(os, toWide(INVENTORY_LIBRARY)).findJavaComponent(minimalVersion, consumer);
    }

    ScopedCatalogue english;
    RealOsWithFakeProcess os;
    RecordingErrorConsumer consumer;
    TempDir dir;
};

TEST_F(InventoryTest, ABrokenLibraryIsReportedNotThrown) {
    const std::string withoutLastError = SCRIPTED_INVENTORY_WITHOUT_LAST_ERROR;
    const std::pair<std::string, std::string> cases[] = {
        {"/nonexistent/libinventory.so",
         "Cannot load Orvik inventory library looking at path /nonexistent/libinventory.so. "
         "Error: /nonexistent/libinventory.so: cannot open shared object file: No such file or "
         "directory"},
        {withoutLastError, "Cannot load function from Orvik Inventory library at path " +
                               withoutLastError + ". Function: getLastError"},
        {"libm.so.6",
         "Cannot load function from Orvik Inventory library at path libm.so.6. Function: "
         "graal_create_isolate"},
        {SCRIPTED_INVENTORY_FAILING_ISOLATE, "Cannot initialize Orvik Inventory library. Error: 7"},
    };
    for (const auto& [library, error] : cases) {
        Inventory inventory(os, toWide(library));
        consumer.errors.clear();
        EXPECT_EQ(inventory.findJavaComponent(17, consumer), L"");
        EXPECT_EQ(consumer.errors, std::vector<std::string>{error});
        EXPECT_EQ(inventory.getLastError(), toWide(error));
    }
}

TEST_F(InventoryTest, AsksOnALiveIsolateAndReadsTheErrorOnlyWhenTheSearchFailed) {
    os.process.executablePath = L"/opt/app/bin/launcher";
    Inventory inventory(os, toWide(SCRIPTED_INVENTORY));
    script("/opt/java/jdk-21", "ignored");
    EXPECT_EQ(inventory.findJavaComponent(21, consumer), L"/opt/java/jdk-21");
    EXPECT_STREQ(scripted<const char* (*)()>("scriptedInventoryLastCall")(),
                 "21 x86_64 /opt/app/bin/launcher on a live isolate");

    // Nothing suitable is an answer, not a failure: a stale error text stays unread.
    script("", "stale text");
    EXPECT_EQ(inventory.findJavaComponent(17, consumer), L"");
    EXPECT_TRUE(consumer.errors.empty());

    // The text of a failed search is read while its isolate is still alive, and
    // the library stays usable.
    script(nullptr, "Cannot read Java search root '/srv/java'");
    EXPECT_EQ(inventory.findJavaComponent(17, consumer), L"");
    EXPECT_EQ(consumer.errors,
              std::vector<std::string>{"Cannot read Java search root '/srv/java'"});
    script("/usr/lib/jvm/jdk", "");
    EXPECT_EQ(inventory.findJavaComponent(17, consumer), L"/usr/lib/jvm/jdk");
    EXPECT_EQ(liveIsolates(), 0);
}

TEST_F(InventoryTest, TheAdapterLogsIsolatesLeftBehindAndIsolatesRefused) {
    {
        GraalAdapter adapter(os, toWide(SCRIPTED_INVENTORY));
        adapter.init();
        GraalIsolateThread* first = adapter.createIsolateAndAttache();
        EXPECT_NE(adapter.createIsolateAndAttache(), nullptr);
        adapter.tearDownIsolate(first);
        adapter.tearDownIsolate(nullptr);
        EXPECT_EQ(liveIsolates(), 1);
        GraalAdapter failing(os, toWide(SCRIPTED_INVENTORY_FAILING_ISOLATE));
        failing.init();
        EXPECT_EQ(failing.createIsolateAndAttache(), nullptr);
    }
    getLogger().flush();
    std::vector<std::string> logged;
    for (const LogLine& line : parseLogLines(readWholeFile(dir.path("launcher.log")))) {
        logged.push_back(line.level + " " + line.className + " " + line.message);
    }
    EXPECT_EQ(logged, (std::vector<std::string>{
                          "INFO GraalAdapter Uninitializing Graal VM library",
                          "INFO GraalAdapter Graal VM library uninitialized",
                          "ERROR GraalAdapter Cannot initialize Graal VM. Code 7.",
                          "INFO GraalAdapter Inventory library unloaded",
                          "ERROR GraalAdapter Inconsistent Graal isolates count "
                          "createdIsolatesCounter=1",
                          "INFO GraalAdapter Inventory library unloaded",
                      }));
}

TEST_F(InventoryTest, TheFinderTakesTheInventorysAnswerUncheckedElseAQualifyingJavaHome) {
    dir.write("release", "OS_ARCH=\"x86_64\"\nJAVA_VERSION=\"11.0.2\"\n");
    os.process.environment[L"JAVA_HOME"] = dir.wpath();
    ReleaseFileJavaChecker checker(os);
    FakeConsole console;
    auto find = [&](const char* answer, int minimalVersion) {
        script(answer, "");
        Inventory inventory(os, toWide(SCRIPTED_INVENTORY));
        FoundJavaHome found =
            InventoryAndEnvJavaFinder(os, inventory, checker, console).findJavaHome(minimalVersion);
        return found.javaHome + (found.fromEnvironment ? L" from the environment" : L"");
    };
    EXPECT_EQ(find("/opt/java/not-even-there", 11), L"/opt/java/not-even-there");
    EXPECT_EQ(find("", 11), dir.wpath() + L" from the environment");
    EXPECT_EQ(find("", 12), L"");
    os.process.environment.clear();
    EXPECT_EQ(find("", 8), L"");
    // Nothing suitable anywhere is reported by the caller, not here.
    EXPECT_EQ(console.out(), L"");
}

// The real library from here on. Its synthetic Java homes are far newer than any
// real Java, so the machine's own installations never win unless a test says so.
void makeHome(const std::string& home, const std::string& version,
              const std::string& architecture = "x86_64",
              const std::string& libraryDirectory = "lib/server") {
    std::filesystem::create_directories(home + "/" + libraryDirectory);
    std::ofstream(home + "/release") << "IMPLEMENTOR=\"Synthetic\"\nJAVA_VERSION=\"" << version
                                     << "\"\nOS_ARCH=\"" << architecture << "\"\n";
    if (!libraryDirectory.empty()) {
        std::ofstream(home + "/" + libraryDirectory + "/libjvm.so");
    }
}

TEST_F(InventoryTest, TheLibraryRanksByFeatureThenFullVersionThenPathAndSkipsUnusableHomes) {
    makeHome(dir.path("jdk8"), "1.8.0_292");
    makeHome(dir.path("jdk40"), "40.0.1");
    makeHome(dir.path("jdk41-2"), "41.0.2");
    makeHome(dir.path("c-jdk41-10"), "41.0.10", "x86_64", "jre/lib/amd64/server");
    makeHome(dir.path("b-jdk41-10"), "41.0.10", "amd64", "lib/amd64/server");
    // A link sorting first must not pass for a home of its own.
    std::filesystem::create_directory_symlink(dir.path("c-jdk41-10"), dir.path("a-link"));
    // Newer, but nothing the launcher could run.
    makeHome(dir.path("thirty-two-bit"), "50", "i386");
    makeHome(dir.path("other-cpu"), "51", "aarch64");
    makeHome(dir.path("without-jvm"), "52", "x86_64", "");
    makeHome(dir.path("library-elsewhere"), "53", "x86_64", "lib/client");
    makeHome(dir.path("unclean"), "54x");
    makeHome(dir.path("without-release"), "55");
    std::filesystem::remove(dir.path("without-release/release"));

    EXPECT_EQ(ask(8, dir.path()), dir.wpath("b-jdk41-10"));
    EXPECT_EQ(ask(41, dir.path()), dir.wpath("b-jdk41-10"));
    EXPECT_EQ(ask(42, dir.path()), L"");
    EXPECT_TRUE(consumer.errors.empty());
}

TEST_F(InventoryTest, TheLibraryFindsHomesByRealPathAsRootsAndBesideTheLauncher) {
    TempDir elsewhere;
    makeHome(elsewhere.path("jdk-43"), "43.0.1");
    std::filesystem::create_directory_symlink(elsewhere.path("jdk-43"), dir.path("current"));
    // A root may itself be a Java home, as people tend to name them.
    TempDir single;
    makeHome(single.path(), "42.0.1");
    EXPECT_EQ(ask(8, dir.path() + ":" + single.path()), elsewhere.wpath("jdk-43"));
    std::filesystem::remove(elsewhere.path("jdk-43/release"));
    EXPECT_EQ(ask(42, dir.path() + ":" + single.path()), single.wpath());

    // A runtime bundled with the launcher, beside its directory or one level up.
    os.process.executablePath = dir.wpath("app/bin/launcher");
    makeHome(dir.path("app/jre"), "44.0.1");
    EXPECT_EQ(ask(44, ""), dir.wpath("app/jre"));
    makeHome(dir.path("app/bin/jdk"), "45.0.1");
    EXPECT_EQ(ask(44, ""), dir.wpath("app/bin/jdk"));
}

TEST_F(InventoryTest, TheLibraryReportsTheRootsItCouldNotRead) {
    dir.write("file", "");
    EXPECT_EQ(ask(99, dir.path("file") + "::" + dir.path("missing")), L"");
    EXPECT_EQ(consumer.errors,
              std::vector<std::string>{"Cannot read Java search root '" + dir.path("file") +
                                       "': Not a directory; Cannot read Java search root '" +
                                       dir.path("missing") + "': No such file or directory"});
}

// The machine's OpenJDK 17 must be found; when a newer Java is installed too
// that one is the answer, so the test checks the answer's qualities, not its name.
TEST_F(InventoryTest, TheLibraryFindsTheNewestJavaOfThisMachine) {
    ReleaseFileJavaChecker checker(os);
    const std::wstring found = ask(17, "");
    ASSERT_EQ(found.rfind(L"/usr/lib/jvm/", 0), 0u) << toUtf8(found);
    EXPECT_EQ(ask(8, ""), found);
    EXPECT_NO_THROW(JavaLibResolver(os).findJvmLibrary(found));
    int feature = 17;
    while (checker.check(found, feature + 1)) {
        ++feature;
    }
    EXPECT_EQ(ask(feature + 1, ""), L"");
    EXPECT_TRUE(consumer.errors.empty());
}

}  // namespace
