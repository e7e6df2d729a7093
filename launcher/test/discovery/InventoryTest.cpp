#include "discovery/Inventory.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "discovery/IInventoryErrorConsumer.h"
#include "fakes/FakeLibraryHandle.h"
#include "fakes/FakeOsUtilsFactory.h"
#include "support/Catalogue.h"

// Inventory libraries broken in the ways the real one never is.
namespace {

int liveIsolates = 0;
int isolate = 0;

template <typename Function>
void* symbol(Function* function) {
    return reinterpret_cast<void*>(function);
}

class Errors : public IInventoryErrorConsumer {
  public:
    void onError(const char* text) override { texts.push_back(text); }
    std::vector<std::string> texts;
};

TEST(InventoryTest, ABrokenLibraryIsReportedNotThrown) {
    ScopedCatalogue english;
    FakeOsUtilsFactory os;
    using Symbols = std::map<std::string, void*>;
    const Symbols all = {
        {"graal_create_isolate", symbol(+[](void*, void**, int** thread) {
             *thread = &isolate;
             return (++liveIsolates, 0);
         })},
        {"graal_tear_down_isolate", symbol(+[](int*) { return (--liveIsolates, 0); })},
        {"findJavaComponent", symbol(+[](int*, int, const char*, const char*,
                                         void*) -> const char* { return nullptr; })},
        {"getLastError", symbol(+[](int*) {
             return liveIsolates > 0 ? "search failed" : "read after the tear-down";
         })}};
    Symbols refusing = all, noCreate = all, noLastError = all;
    refusing["graal_create_isolate"] = symbol(+[](void*, void**, int**) { return 7; });
    noCreate.erase("graal_create_isolate");
    noLastError.erase("getLastError");
    const std::string wrong =
        "Cannot load function from Orvik Inventory library at path /inv.so. Function: ";
    const std::pair<std::optional<Symbols>, std::string> cases[] = {
        {std::nullopt,
         "Cannot load Orvik inventory library looking at path /inv.so. Error: /inv.so: cannot "
         "open shared object file: No such file or directory"},
        {noCreate, wrong + "graal_create_isolate"},
        {noLastError, wrong + "getLastError"},
        {refusing, "Cannot initialize Orvik Inventory library. Error: 7"},
        // The text of a failed search is read while its isolate is still alive.
        {all, "search failed"},
    };
    for (const auto& [symbols, text] : cases) {
        os.system.libraries.clear();
        if (symbols) {
            auto library = std::make_shared<FakeLibraryHandle>();
            library->symbols = *symbols;
            os.system.libraries[L"/inv.so"] = library;
        }
        Errors errors;
        EXPECT_EQ(L"", Inventory(os, L"/inv.so").findJavaComponent(17, errors));
        EXPECT_EQ(std::vector<std::string>{text}, errors.texts);
        EXPECT_EQ(0, liveIsolates);
    }
}

}  // namespace
