#include "platform/PosixLibraryHandle.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/LinuxSystemUtils.h"
#include "platform/TextConversion.h"

namespace {

TEST(PosixLibraryHandleTest, MissingLibraryKeepsTheLoaderError) {
    LinuxSystemUtils system;
    std::shared_ptr<ILibraryHandle> missing = system.loadLibrary(L"/nonexistent/libnothing.so");
    ASSERT_NE(nullptr, missing);
    EXPECT_TRUE(missing->isNull());
    EXPECT_EQ(
        L"/nonexistent/libnothing.so: cannot open shared object file: No such file or "
        L"directory",
        missing->getErrorText());
    EXPECT_EQ(nullptr, missing->getSymbol("cos"));
    EXPECT_FALSE(missing->close());
}

TEST(PosixLibraryHandleTest, SymbolsOfARealLibrary) {
    LinuxSystemUtils system;
    std::shared_ptr<ILibraryHandle> math = system.loadLibrary(L"libm.so.6");
    ASSERT_FALSE(math->isNull()) << toUtf8(math->getErrorText());
    EXPECT_EQ(L"", math->getErrorText());
    auto cosine = reinterpret_cast<double (*)(double)>(math->getSymbol("cos"));
    ASSERT_NE(nullptr, cosine);
    EXPECT_EQ(1.0, cosine(0.0));
    EXPECT_EQ(nullptr, math->getSymbol("no_such_symbol_in_libm"));
    // A failed lookup leaves nothing behind that would fail the next one.
    EXPECT_NE(nullptr, math->getSymbol("sin"));
    EXPECT_TRUE(math->close());
    EXPECT_TRUE(math->isNull());
    EXPECT_FALSE(math->close());
}

}  // namespace
