#include "discovery/Inventory.h"

#include <gtest/gtest.h>

#include <string>

#include "discovery/ScriptedInventory.h"
#include "platform/TextConversion.h"
#include "support/Catalogue.h"
#include "support/RealOsWithFakeProcess.h"

namespace {

class InventoryTest : public ::testing::Test {
  protected:
    void SetUp() override { scripted.reset(nullptr, ""); }

    std::wstring find(Inventory& inventory, int minimalVersion) {
        inventory.init();
        return inventory.findJavaComponent(minimalVersion, consumer);
    }

    ScopedCatalogue english;
    RealOsWithFakeProcess os;
    RecordingErrorConsumer consumer;
    ScriptedInventory scripted{SCRIPTED_INVENTORY};
};

TEST_F(InventoryTest, AMissingLibraryIsReportedNotThrown) {
    Inventory inventory(os, L"/nonexistent/libinventory.so");
    EXPECT_EQ(find(inventory, 17), L"");

    ASSERT_EQ(consumer.errors.size(), 1u);
    const std::string& error = consumer.errors[0];
    EXPECT_EQ(error.rfind("Cannot load Orvik inventory library looking at path "
                          "/nonexistent/libinventory.so. Error: /nonexistent/libinventory.so: ",
                          0),
              0u)
        << error;
    EXPECT_EQ(inventory.getLastError(), toWide(error));
}

TEST_F(InventoryTest, NamesTheEntryPointALibraryLacks) {
    Inventory withoutLastError(os, toWide(SCRIPTED_INVENTORY_WITHOUT_LAST_ERROR));
    EXPECT_EQ(find(withoutLastError, 17), L"");
    EXPECT_EQ(withoutLastError.getLastError(),
              L"Cannot load function from Orvik Inventory library at path " +
                  toWide(SCRIPTED_INVENTORY_WITHOUT_LAST_ERROR) + L". Function: getLastError");

    Inventory notAnInventory(os, L"libm.so.6");
    EXPECT_EQ(find(notAnInventory, 17), L"");
    EXPECT_EQ(notAnInventory.getLastError(),
              L"Cannot load function from Orvik Inventory library at path libm.so.6. Function: "
              L"graal_create_isolate");

    ASSERT_EQ(consumer.errors.size(), 2u);
    EXPECT_EQ(toWide(consumer.errors[1]), notAnInventory.getLastError());
}

TEST_F(InventoryTest, AnIsolateThatCannotBeCreatedDisablesTheLibrary) {
    Inventory inventory(os, toWide(SCRIPTED_INVENTORY_FAILING_ISOLATE));
    EXPECT_EQ(find(inventory, 17), L"");
    EXPECT_EQ(inventory.getLastError(), L"Cannot initialize Orvik Inventory library. Error: 7");
    EXPECT_EQ(find(inventory, 17), L"");
    ASSERT_EQ(consumer.errors.size(), 2u);
    EXPECT_EQ(consumer.errors[1], "Cannot initialize Orvik Inventory library. Error: 7");
}

TEST_F(InventoryTest, AsksOnAFreshIsolateAndTearsItDown) {
    scripted.reset("/opt/java/jdk-21", "ignored");
    os.process.executablePath = L"/opt/app/bin/launcher";
    Inventory inventory(os, toWide(SCRIPTED_INVENTORY));

    EXPECT_EQ(find(inventory, 21), L"/opt/java/jdk-21");
    EXPECT_EQ(scripted.lastMinimalVersion(), 21);
    EXPECT_EQ(scripted.lastArchitecture(), "x86_64");
    EXPECT_EQ(scripted.lastLauncherPath(), "/opt/app/bin/launcher");
    EXPECT_EQ(scripted.lastReserved(), nullptr);
    EXPECT_TRUE(scripted.queriedOnLiveIsolate());
    EXPECT_EQ(scripted.liveIsolates(), 0);

    EXPECT_EQ(find(inventory, 8), L"/opt/java/jdk-21");
    EXPECT_EQ(scripted.createdIsolates(), 2);
    EXPECT_EQ(scripted.liveIsolates(), 0);
    EXPECT_TRUE(consumer.errors.empty());
}

TEST_F(InventoryTest, OnlyAFailedSearchReportsTheLibrarysError) {
    Inventory inventory(os, toWide(SCRIPTED_INVENTORY));

    // Nothing suitable is an answer, not a failure: a stale error text stays unread.
    scripted.reset("", "stale text");
    EXPECT_EQ(find(inventory, 17), L"");
    EXPECT_TRUE(consumer.errors.empty());

    scripted.reset(nullptr, "");
    EXPECT_EQ(find(inventory, 17), L"");
    EXPECT_TRUE(consumer.errors.empty());

    // The text is read while its isolate is still alive.
    scripted.reset(nullptr, "Cannot read Java search root '/srv/java'");
    EXPECT_EQ(find(inventory, 17), L"");
    ASSERT_EQ(consumer.errors.size(), 1u);
    EXPECT_EQ(consumer.errors[0], "Cannot read Java search root '/srv/java'");
    EXPECT_EQ(scripted.liveIsolates(), 0);

    // A failed search does not disable the library.
    EXPECT_EQ(inventory.getLastError(), L"");
    scripted.reset("/usr/lib/jvm/jdk", "");
    EXPECT_EQ(find(inventory, 17), L"/usr/lib/jvm/jdk");
}

}  // namespace
