#include "discovery/GraalAdapter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "discovery/ScriptedInventory.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"
#include "support/Catalogue.h"
#include "support/LogLines.h"
#include "support/RealOsWithFakeProcess.h"
#include "support/TempDir.h"

namespace {

class GraalAdapterTest : public ::testing::Test {
  protected:
    void SetUp() override {
        scripted.reset("", "");
        resetLoggerForTesting();
        initLogger(toWide(logPath));
    }
    void TearDown() override {
        shutdownLogger();
        resetLoggerForTesting();
    }

    // "LEVEL message" of every line logged so far.
    std::vector<std::string> logged() {
        getLogger().flush();
        std::vector<std::string> lines;
        for (const LogLine& line : parseLogLines(readWholeFile(logPath))) {
            EXPECT_EQ(line.className, "GraalAdapter");
            lines.push_back(line.level + " " + line.message);
        }
        return lines;
    }

    ScopedCatalogue english;
    RealOsWithFakeProcess os;
    ScriptedInventory scripted{SCRIPTED_INVENTORY};
    TempDir dir;
    std::string logPath = dir.path("launcher.log");
};

TEST_F(GraalAdapterTest, CountsIsolatesAndComplainsAboutOnesLeftBehind) {
    {
        GraalAdapter adapter(os, toWide(SCRIPTED_INVENTORY));
        adapter.init();
        ASSERT_EQ(adapter.getLastError(), L"");
        GraalIsolateThread* first = adapter.createIsolateAndAttache();
        GraalIsolateThread* second = adapter.createIsolateAndAttache();
        ASSERT_NE(first, nullptr);
        ASSERT_NE(second, nullptr);
        adapter.tearDownIsolate(first);
        adapter.tearDownIsolate(nullptr);
        EXPECT_EQ(scripted.liveIsolates(), 1);
    }
    EXPECT_EQ(logged(), (std::vector<std::string>{
                            "INFO Uninitializing Graal VM library",
                            "INFO Graal VM library uninitialized",
                            "ERROR Inconsistent Graal isolates count createdIsolatesCounter=1",
                            "INFO Inventory library unloaded",
                        }));
}

TEST_F(GraalAdapterTest, AFailedIsolateIsLoggedWithItsCode) {
    {
        GraalAdapter adapter(os, toWide(SCRIPTED_INVENTORY_FAILING_ISOLATE));
        adapter.init();
        EXPECT_EQ(adapter.createIsolateAndAttache(), nullptr);
        EXPECT_EQ(adapter.getLastError(), L"Cannot initialize Orvik Inventory library. Error: 7");
    }
    // No isolate was counted, so none is missing at the end.
    EXPECT_EQ(logged(), (std::vector<std::string>{
                            "ERROR Cannot initialize Graal VM. Code 7.",
                            "INFO Inventory library unloaded",
                        }));
}

}  // namespace
