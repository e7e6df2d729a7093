#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "config/YamlParser.h"
#include "platform/LauncherException.h"
#include "support/Catalogue.h"
#include "support/YamlTreeCheck.h"

namespace {

// The inputs the fuzzer kept, next to the sources (fuzz/yaml-corpus at the top of
// the repository), so every build replays them.
std::filesystem::path corpusDirectory() {
    return std::filesystem::path(__FILE__).parent_path() / "../../../fuzz/yaml-corpus";
}

TEST(YamlCorpusTest, EveryFuzzInputParsesOrFailsCleanly) {
    ScopedCatalogue english;
    size_t replayed = 0;
    for (const auto& entry : std::filesystem::directory_iterator(corpusDirectory())) {
        std::ifstream in(entry.path(), std::ios::binary);
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        SCOPED_TRACE(entry.path().filename().string());
        // An exact-size block, so that a sanitizer build sees reads past the end.
        const size_t total = text.size() + 4;
        std::unique_ptr<char[]> buffer(new char[total]());
        text.copy(buffer.get(), text.size());
        try {
            std::unique_ptr<YamlNode> root =
                YamlParser::parse(std::string_view(buffer.get(), total));
            EXPECT_EQ("", findYamlTreeFault(*root, buffer.get()));
        } catch (const LauncherException& e) {
            EXPECT_EQ(LauncherException::kConfiguration, e.getCode());
        }
        ++replayed;
    }
    EXPECT_GT(replayed, 0u);
}

}  // namespace
