#include "discovery/JavaLibResolver.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "fakes/FakeOsUtilsFactory.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "support/Catalogue.h"
#include "support/TempDir.h"

namespace {

void placeLibrary(const TempDir& home, const std::string& directory) {
    std::filesystem::create_directories(home.path() + directory);
    home.write(directory.substr(1) + "libjvm.so", "not really a library");
}

class JavaLibResolverTest : public ::testing::Test {
  protected:
    ScopedCatalogue english;
    TempDir home;
    JavaLibResolver resolver{getOsUtilsFactory()};
};

TEST_F(JavaLibResolverTest, PrefersTheOldestLayout) {
    placeLibrary(home, "/lib/server/");
    EXPECT_EQ(resolver.findJvmLibrary(home.wpath()), home.wpath("lib/server/libjvm.so"));

    placeLibrary(home, "/lib/amd64/server/");
    EXPECT_EQ(resolver.findJvmLibrary(home.wpath()), home.wpath("lib/amd64/server/libjvm.so"));

    placeLibrary(home, "/jre/lib/amd64/server/");
    EXPECT_EQ(resolver.findJvmLibrary(home.wpath()), home.wpath("jre/lib/amd64/server/libjvm.so"));
}

TEST_F(JavaLibResolverTest, UsesTheHomeExactlyAsGiven) {
    placeLibrary(home, "/lib/server/");
    EXPECT_EQ(resolver.findJvmLibrary(home.wpath() + L"/"),
              home.wpath() + L"//lib/server/libjvm.so");
}

TEST_F(JavaLibResolverTest, AHomeWithoutLibraryIsAnErrorOfCode4) {
    std::filesystem::create_directories(home.path() + "/lib/server");
    try {
        resolver.findJvmLibrary(home.wpath());
        FAIL() << "no exception";
    } catch (const LauncherException& e) {
        EXPECT_EQ(e.getCode(), 4);
        EXPECT_EQ(e.getMessage(), L"Cannot find JVM library");
    }
}

TEST_F(JavaLibResolverTest, AnEmptyHomeSearchesFromTheRoot) {
    FakeOsUtilsFactory os;
    os.files.addFile(L"/lib/server/libjvm.so", "");
    JavaLibResolver fromRoot(os);
    EXPECT_EQ(fromRoot.findJvmLibrary(L""), L"/lib/server/libjvm.so");
}

}  // namespace
