// libinventory.so itself: over synthetic Java homes in temporary roots, and
// over the real Java installations of this machine.

#include <dlfcn.h>
#include <stdlib.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>

#include "discovery/Inventory.h"
#include "discovery/JavaLibResolver.h"
#include "discovery/ReleaseFileJavaChecker.h"
#include "discovery/ScriptedInventory.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/TextConversion.h"
#include "support/Catalogue.h"
#include "support/RealOsWithFakeProcess.h"
#include "support/TempDir.h"

namespace {

constexpr const char* kRootsVariable = "LAUNCHER_INVENTORY_JAVA_ROOTS";

struct HomeLayout {
    std::string version;
    std::string architecture = "x86_64";
    // Where the JVM library goes; empty for none.
    std::string libraryDirectory = "lib/server";
};

void makeHome(const std::string& home, const HomeLayout& layout) {
    std::filesystem::create_directories(home);
    std::FILE* release = std::fopen((home + "/release").c_str(), "w");
    std::fprintf(release, "IMPLEMENTOR=\"Synthetic\"\nJAVA_VERSION=\"%s\"\nOS_ARCH=\"%s\"\n",
                 layout.version.c_str(), layout.architecture.c_str());
    std::fclose(release);
    if (!layout.libraryDirectory.empty()) {
        std::filesystem::create_directories(home + "/" + layout.libraryDirectory);
        std::fclose(std::fopen((home + "/" + layout.libraryDirectory + "/libjvm.so").c_str(), "w"));
    }
}

// Sets the extra search roots for one test.
class ScopedRoots {
  public:
    explicit ScopedRoots(const std::string& roots) { setenv(kRootsVariable, roots.c_str(), 1); }
    ~ScopedRoots() { unsetenv(kRootsVariable); }
};

// The library's C entry points, called the way the adapter calls them.
class InventoryLibrary {
  public:
    InventoryLibrary() : handle_(dlopen(INVENTORY_LIBRARY, RTLD_NOW)) {
        if (handle_ == nullptr) {
            throw std::runtime_error(dlerror());
        }
        create = reinterpret_cast<Create>(dlsym(handle_, "graal_create_isolate"));
        tearDown = reinterpret_cast<TearDown>(dlsym(handle_, "graal_tear_down_isolate"));
        findJavaComponent = reinterpret_cast<Find>(dlsym(handle_, "findJavaComponent"));
        getLastError = reinterpret_cast<LastError>(dlsym(handle_, "getLastError"));
    }
    ~InventoryLibrary() { dlclose(handle_); }

    // The answer (nullopt for null) and the isolate's error text.
    std::optional<std::string> find(int minimalVersion, const char* architecture,
                                    const std::string& launcherPath, std::string& error) {
        void* thread = nullptr;
        EXPECT_EQ(create(nullptr, nullptr, &thread), 0);
        const char* answer =
            findJavaComponent(thread, minimalVersion, architecture, launcherPath.c_str(), nullptr);
        std::optional<std::string> result;
        if (answer != nullptr) {
            result = answer;
        }
        error = getLastError(thread);
        EXPECT_EQ(tearDown(thread), 0);
        return result;
    }

    using Create = int (*)(void*, void**, void**);
    using TearDown = int (*)(void*);
    using Find = const char* (*)(void*, int, const char*, const char*, void*);
    using LastError = const char* (*)(void*);
    void* handle_;
    Create create;
    TearDown tearDown;
    Find findJavaComponent;
    LastError getLastError;
};

class InventoryLibraryTest : public ::testing::Test {
  protected:
    std::wstring ask(int minimalVersion) {
        Inventory inventory(os, toWide(INVENTORY_LIBRARY));
        inventory.init();
        EXPECT_EQ(inventory.getLastError(), L"");
        return inventory.findJavaComponent(minimalVersion, consumer);
    }
    std::string home(const std::string& name) const { return root.path(name); }

    ScopedCatalogue english;
    RealOsWithFakeProcess os;
    RecordingErrorConsumer consumer;
    TempDir root;
};

// The synthetic versions are far above any real Java, so the machine's own
// installations never win here.
TEST_F(InventoryLibraryTest, RanksByFeatureThenFullVersionThenPath) {
    makeHome(home("jdk8"), {"1.8.0_292"});
    makeHome(home("jdk40"), {"40.0.1"});
    makeHome(home("jdk41-2"), {"41.0.2"});
    makeHome(home("c-jdk41-10"), {"41.0.10", "x86_64", "jre/lib/amd64/server"});
    makeHome(home("b-jdk41-10"), {"41.0.10", "amd64", "lib/amd64/server"});
    // A link sorting first must not pass for a home of its own.
    std::filesystem::create_directory_symlink(home("c-jdk41-10"), home("a-link"));
    root.write("notes.txt", "not a home");
    ScopedRoots roots(root.path());

    EXPECT_EQ(ask(8), toWide(home("b-jdk41-10")));
    EXPECT_EQ(ask(41), toWide(home("b-jdk41-10")));
    EXPECT_EQ(ask(42), L"");
    EXPECT_TRUE(consumer.errors.empty());
}

TEST_F(InventoryLibraryTest, SkipsHomesTheLauncherCouldNotRun) {
    makeHome(home("good"), {"40.0.1", "amd64"});
    makeHome(home("thirty-two-bit"), {"50", "i386"});
    makeHome(home("other-cpu"), {"51", "aarch64"});
    makeHome(home("without-jvm"), {"52", "x86_64", ""});
    makeHome(home("library-elsewhere"), {"53", "x86_64", "lib/client"});
    std::filesystem::create_directories(home("without-release/lib/server"));
    root.write("without-release/lib/server/libjvm.so", "");
    makeHome(home("unclean"), {"54x"});
    ScopedRoots roots(root.path());

    EXPECT_EQ(ask(8), toWide(home("good")));
    EXPECT_TRUE(consumer.errors.empty());
}

TEST_F(InventoryLibraryTest, SymlinkedHomesCountOnceUnderTheirRealPath) {
    TempDir elsewhere;
    makeHome(elsewhere.path("jdk-43"), {"43.0.1"});
    std::filesystem::create_directory_symlink(elsewhere.path("jdk-43"), home("current"));
    std::filesystem::create_directory_symlink(elsewhere.path("jdk-43"), home("also-current"));
    // A root may itself be a Java home, as people tend to name them.
    TempDir single;
    makeHome(single.path(), {"42.0.1"});
    ScopedRoots roots(root.path() + ":" + single.path());

    EXPECT_EQ(ask(8), toWide(elsewhere.path("jdk-43")));
    EXPECT_EQ(ask(42), toWide(elsewhere.path("jdk-43")));
    std::filesystem::remove(elsewhere.path("jdk-43/release"));
    EXPECT_EQ(ask(42), toWide(single.path()));
}

TEST_F(InventoryLibraryTest, FindsARuntimeBundledWithTheLauncher) {
    InventoryLibrary library;
    std::string error;
    const std::string launcher = home("app/bin/launcher");
    makeHome(home("app/jre"), {"44.0.1"});
    EXPECT_EQ(library.find(8, "x86_64", launcher, error), home("app/jre"));
    makeHome(home("app/bin/jdk"), {"45.0.1"});
    EXPECT_EQ(library.find(8, "x86_64", launcher, error), home("app/bin/jdk"));
    EXPECT_EQ(error, "");

    // The adapter passes the launcher's own path.
    os.process.executablePath = toWide(launcher);
    EXPECT_EQ(ask(45), toWide(home("app/bin/jdk")));
}

TEST_F(InventoryLibraryTest, ReportsWhatStoppedTheSearch) {
    InventoryLibrary library;
    std::string error;
    EXPECT_EQ(library.find(8, "sparc", "", error), std::nullopt);
    EXPECT_EQ(error, "Unknown architecture 'sparc'");
    EXPECT_EQ(library.find(8, nullptr, "", error), std::nullopt);
    EXPECT_EQ(error, "Unknown architecture '(null)'");

    root.write("file", "");
    const std::string missing = home("missing");
    ScopedRoots roots(home("file") + "::" + missing);
    EXPECT_EQ(library.find(99, "x86_64", "", error), std::nullopt);
    EXPECT_EQ(error, "Cannot read Java search root '" + home("file") +
                         "': Not a directory; Cannot read Java search root '" + missing +
                         "': No such file or directory");

    // A home found elsewhere still counts; the error stays readable.
    makeHome(home("jdk46"), {"46.0.1"});
    ScopedRoots more(home("file") + ":" + root.path());
    EXPECT_EQ(library.find(8, "x86_64", "", error), home("jdk46"));
    EXPECT_NE(error, "");

    // Through the adapter the text reaches the error consumer.
    EXPECT_EQ(ask(99), L"");
    ASSERT_EQ(consumer.errors.size(), 1u);
    EXPECT_EQ(consumer.errors[0],
              "Cannot read Java search root '" + home("file") + "': Not a directory");
}

TEST_F(InventoryLibraryTest, GuardsItsIsolatesAndExportsOnlyItsEntryPoints) {
    InventoryLibrary library;
    void* thread = nullptr;
    EXPECT_NE(library.create(nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(library.create(nullptr, nullptr, &thread), 0);
    ASSERT_EQ(library.tearDown(thread), 0);
    EXPECT_NE(library.tearDown(thread), 0);
    EXPECT_EQ(library.findJavaComponent(thread, 8, "x86_64", "", nullptr), nullptr);
    EXPECT_STREQ(library.getLastError(thread), "Not an isolate thread of the inventory library");

    // The launcher code it compiles in stays private to it.
    EXPECT_EQ(dlsym(library.handle_, "_Z6toWidePKc"), nullptr);
}

// The machine's OpenJDK 17 must be found. When a newer Java is installed too
// the newer one is the answer, so the test checks the answer's qualities
// rather than its name.
TEST_F(InventoryLibraryTest, FindsTheJavaOfThisMachine) {
    unsetenv(kRootsVariable);
    ReleaseFileJavaChecker checker(os);
    JavaLibResolver resolver(os);

    const std::wstring forEight = ask(8);
    ASSERT_EQ(forEight.rfind(L"/usr/lib/jvm/", 0), 0u) << toUtf8(forEight);
    EXPECT_EQ(ask(11), forEight);
    EXPECT_EQ(ask(17), forEight);
    EXPECT_TRUE(checker.check(forEight, 17));
    EXPECT_NO_THROW(resolver.findJvmLibrary(forEight));

    // Nothing newer than the answer qualifies: it was the highest.
    int feature = 17;
    while (checker.check(forEight, feature + 1)) {
        ++feature;
    }
    EXPECT_EQ(ask(feature + 1), L"");
    EXPECT_EQ(ask(99), L"");
    EXPECT_TRUE(consumer.errors.empty());
}

}  // namespace
