#include <gtest/gtest.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "config/LauncherConfig.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/TextConversion.h"
#include "support/Catalogue.h"

namespace {

// The launcher.yml shipped with the heartbeat example, read as the launcher reads
// it. Its lists lean on the rule that the key after a list is skipped; an edit
// that forgets the rule loses a JVM option or an argument without any error.
TEST(ExampleConfigTest, TheShippedHeartbeatInstanceReadsAsDocumented) {
    ScopedCatalogue english;
    const std::wstring root = toWide(HEARTBEAT_TEMPLATE_DIR);
    const LauncherConfig config =
        LauncherConfig::readLauncherConfig(getOsUtilsFactory(), root, true);

    ASSERT_FALSE(config.hasError()) << toUtf8(config.getErrorText());
    ASSERT_TRUE(config.isFileRead());
    EXPECT_EQ(L"example.Heartbeat", config.getMainClass().value());
    EXPECT_EQ(root + L"/lib/*.jar", config.getClassPath().value());
    EXPECT_EQ(root + L"/logs/launcher.log", config.getLogFile().value());
    EXPECT_EQ(17, config.getMinimalJavaVersion());
    EXPECT_FALSE(config.isQuiet());
    // Left to the command line and to the service manager.
    EXPECT_FALSE(config.getWorkDir().hasValue());
    EXPECT_FALSE(config.getPidFile().hasValue());
    EXPECT_FALSE(config.getJavaHome().hasValue());

    EXPECT_EQ((std::vector<std::wstring>{L"-Xmx64m",
                                         L"-Dheartbeat.file=" + root + L"/logs/heartbeat.log"}),
              config.getJvmOpts());
    EXPECT_EQ(std::vector<std::wstring>{L"interval-ms=1000"}, config.getMainClassArgs());

    const std::wstring pid = std::to_wstring(getpid());
    const std::map<std::wstring, std::wstring> banners = config.getBanners();
    ASSERT_EQ(2u, banners.size());
    EXPECT_EQ(L"Heartbeat example started (launcher 3.10.5+8, x86-64), PID=" + pid +
                  L". Press Ctrl+C to stop.",
              banners.at(L"default"));
    EXPECT_EQ(L"Пример Heartbeat запущен (launcher 3.10.5+8, x86-64), PID=" + pid +
                  L". Нажмите Ctrl+C для остановки.",
              banners.at(L"ru"));
}

}  // namespace
