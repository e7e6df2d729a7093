#include "discovery/JavaLibResolver.h"

#include <gtest/gtest.h>

#include "fakes/FakeOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "support/Catalogue.h"

namespace {

TEST(JavaLibResolverTest, TakesTheFirstLayoutFoundUnderTheHomeAsGiven) {
    ScopedCatalogue english;
    FakeOsUtilsFactory os;
    JavaLibResolver resolver(os);
    try {
        resolver.findJvmLibrary(L"/jdk");
        ADD_FAILURE() << "found a library in an empty home";
    } catch (const LauncherException& e) {
        EXPECT_EQ(e.getCode(), 4);
        EXPECT_EQ(e.getMessage(), L"Cannot find JVM library");
    }
    os.files.addFile(L"/jdk/lib/server/libjvm.so");
    EXPECT_EQ(resolver.findJvmLibrary(L"/jdk"), L"/jdk/lib/server/libjvm.so");
    EXPECT_EQ(resolver.findJvmLibrary(L"/jdk/"), L"/jdk//lib/server/libjvm.so");
    os.files.addFile(L"/jdk/lib/amd64/server/libjvm.so");
    EXPECT_EQ(resolver.findJvmLibrary(L"/jdk"), L"/jdk/lib/amd64/server/libjvm.so");
    os.files.addFile(L"/jdk/jre/lib/amd64/server/libjvm.so");
    EXPECT_EQ(resolver.findJvmLibrary(L"/jdk"), L"/jdk/jre/lib/amd64/server/libjvm.so");
    os.files.addFile(L"/lib/server/libjvm.so");
    EXPECT_EQ(resolver.findJvmLibrary(L""), L"/lib/server/libjvm.so");
}

}  // namespace
