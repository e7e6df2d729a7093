#include "discovery/InventoryAndEnvJavaFinder.h"

#include <gtest/gtest.h>

#include <string>

#include "discovery/Inventory.h"
#include "discovery/ReleaseFileJavaChecker.h"
#include "discovery/ScriptedInventory.h"
#include "discovery/StdoutErrorPrinter.h"
#include "fakes/FakeConsole.h"
#include "support/Catalogue.h"
#include "support/RealOsWithFakeProcess.h"
#include "support/TempDir.h"

namespace {

class InventoryAndEnvJavaFinderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        scripted.reset("", "");
        javaHome.write("release", "OS_ARCH=\"x86_64\"\nJAVA_VERSION=\"11.0.2\"\n");
    }

    FoundJavaHome find(const std::wstring& libraryPath, int minimalVersion) {
        Inventory inventory(os, libraryPath);
        InventoryAndEnvJavaFinder finder(os, inventory, checker, console);
        FoundJavaHome found = finder.findJavaHome(minimalVersion);
        lastError = finder.getLastError();
        return found;
    }

    ScopedCatalogue english;
    RealOsWithFakeProcess os;
    ReleaseFileJavaChecker checker{os};
    FakeConsole console;
    ScriptedInventory scripted{SCRIPTED_INVENTORY};
    TempDir javaHome;
    std::wstring lastError;
    const std::wstring scriptedPath = toWide(SCRIPTED_INVENTORY);
};

TEST_F(InventoryAndEnvJavaFinderTest, TheInventorysAnswerWinsUnchecked) {
    scripted.reset("/opt/java/not-even-there", "");
    os.process.environment[L"JAVA_HOME"] = javaHome.wpath();

    const FoundJavaHome found = find(scriptedPath, 11);
    EXPECT_EQ(found.javaHome, L"/opt/java/not-even-there");
    EXPECT_FALSE(found.fromEnvironment);
    EXPECT_EQ(console.out(), L"");
    EXPECT_EQ(lastError, L"");
}

TEST_F(InventoryAndEnvJavaFinderTest, FallsBackToJavaHomeOnlyWhenItsReleaseFileQualifies) {
    os.process.environment[L"JAVA_HOME"] = javaHome.wpath();
    FoundJavaHome found = find(scriptedPath, 11);
    EXPECT_EQ(found.javaHome, javaHome.wpath());
    EXPECT_TRUE(found.fromEnvironment);

    found = find(scriptedPath, 12);
    EXPECT_EQ(found.javaHome, L"");
    EXPECT_FALSE(found.fromEnvironment);
    os.process.environment.clear();
    found = find(scriptedPath, 8);
    EXPECT_EQ(found.javaHome, L"");
    EXPECT_FALSE(found.fromEnvironment);
    // Nothing suitable anywhere is reported by the caller, not here.
    EXPECT_EQ(console.out(), L"");
}

// A launcher copied without its library must still honour a good JAVA_HOME.
TEST_F(InventoryAndEnvJavaFinderTest, ABrokenInventoryPrintsItsErrorAndJavaHomeStillCounts) {
    os.process.environment[L"JAVA_HOME"] = javaHome.wpath();
    FoundJavaHome found = find(L"/nonexistent/libinventory.so", 11);
    EXPECT_EQ(found.javaHome, javaHome.wpath());
    EXPECT_TRUE(found.fromEnvironment);
    // The catalogues have no text for this id, so the id itself is the line.
    EXPECT_EQ(console.out(), L"IDS_INVENTORY_CALL_ERROR\n");
    EXPECT_EQ(lastError.rfind(L"Cannot load Orvik inventory library looking at path "
                              L"/nonexistent/libinventory.so. Error: ",
                              0),
              0u)
        << lastError;

    found = find(toWide(SCRIPTED_INVENTORY_FAILING_ISOLATE), 11);
    EXPECT_EQ(found.javaHome, javaHome.wpath());
    EXPECT_EQ(lastError, L"Cannot initialize Orvik Inventory library. Error: 7");

    os.process.environment.clear();
    found = find(L"/nonexistent/libinventory.so", 11);
    EXPECT_EQ(found.javaHome, L"");
    EXPECT_FALSE(found.fromEnvironment);
}

TEST(StdoutErrorPrinterTest, PrintsTheCallErrorIdInEitherLanguageAndIgnoresNull) {
    for (const wchar_t* language : {L"en", L"ru"}) {
        ScopedCatalogue catalogue(language);
        FakeConsole console;
        StdoutErrorPrinter printer(console);
        printer.onError(nullptr);
        printer.onError("Cannot read Java search root '/srv/java'");
        EXPECT_EQ(console.out(), L"IDS_INVENTORY_CALL_ERROR\n") << language;
        EXPECT_EQ(console.err(), L"");
    }
}

}  // namespace
