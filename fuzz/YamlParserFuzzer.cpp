// libFuzzer entry for the launcher.yml reader; built by cmake/Fuzz.cmake.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "config/YamlParser.h"
#include "fakes/FakeSystemUtils.h"
#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "support/YamlTreeCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Error texts are rendered for real, so their formatting is fuzzed as well.
    static FakeSystemUtils system;
    static LocalizationSupport catalogue(system);

    // An exact-size block, so that any read behind the terminator leaves the
    // allocation and AddressSanitizer reports it.
    const size_t total = size + 4;
    std::unique_ptr<char[]> buffer(new char[total]);
    if (size > 0) {
        std::memcpy(buffer.get(), data, size);
    }
    std::memset(buffer.get() + size, 0, 4);

    try {
        std::unique_ptr<YamlNode> root = YamlParser::parse(std::string_view(buffer.get(), total));
        if (!findYamlTreeFault(*root, buffer.get()).empty()) {
            __builtin_trap();
        }
    } catch (const LauncherException& e) {
        if (e.getCode() != LauncherException::kConfiguration || e.getMessage().empty()) {
            __builtin_trap();
        }
    }
    return 0;
}
