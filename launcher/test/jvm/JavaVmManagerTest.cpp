#include "jvm/JavaVmManager.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "fakes/FakeLibraryHandle.h"
#include "fakes/FakeOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "support/Catalogue.h"

namespace {

const std::wstring kLibjvm = L"/jvm/lib/server/libjvm.so";

// What the fake JNI_CreateJavaVM was handed (version, ignoreUnrecognized, then
// the options), copied while the call lasted. The hooks that go with "exit" and
// "abort" are proven by the tests that run a real JVM.
std::vector<std::string> createOptions;
jint createResult = JNI_ERR;

jint JNICALL fakeCreateJavaVm(JavaVM** vm, void** env, void* args) {
    auto* init = static_cast<JavaVMInitArgs*>(args);
    createOptions = {std::to_string(init->version), init->ignoreUnrecognized ? "ignore" : "strict"};
    for (jint i = 0; i < init->nOptions; ++i) {
        createOptions.push_back(init->options[i].optionString);
    }
    // Garbage on failure, as a real library may leave: it must never be used.
    *vm = reinterpret_cast<JavaVM*>(0x10);
    *env = nullptr;
    return createResult;
}

class JavaVmManagerTest : public ::testing::Test {
  protected:
    JavaVmManagerTest() {
        os.files.addFile(kLibjvm, elf(2));
        library->symbols["JNI_CreateJavaVM"] = reinterpret_cast<void*>(&fakeCreateJavaVm);
        os.system.libraries[kLibjvm] = library;
    }
    static std::string elf(char elfClass) {
        return "\x7F"
               "ELF" +
               std::string(60, elfClass);
    }
    // The code and message of what load threw.
    std::wstring loadFailure(const std::vector<std::wstring>& args,
                             const std::vector<std::wstring>& dependencies = {}) {
        try {
            manager.load(args, kLibjvm, dependencies);
        } catch (const LauncherException& e) {
            return std::to_wstring(e.getCode()) + L" " + e.getMessage();
        }
        return L"no failure";
    }

    ScopedCatalogue english;
    FakeOsUtilsFactory os;
    std::shared_ptr<FakeLibraryHandle> library = std::make_shared<FakeLibraryHandle>();
    JavaVmManager manager{os, L"com.example.Service", 11};
};

TEST_F(JavaVmManagerTest, ALibraryThatIsNot64BitElfFailsBeforeAnythingIsLoaded) {
    os.files.addFile(kLibjvm, elf(1));
    EXPECT_EQ(L"2 '/jvm/lib/server/libjvm.so' is not a 64-bit library",
              loadFailure({}, {L"/deps/libjli.so"}));
    os.files.addFile(kLibjvm, "#!/bin/sh\necho not a library\n");
    EXPECT_EQ(L"20 A library format is not ELF: '/jvm/lib/server/libjvm.so'",
              loadFailure({}, {L"/deps/libjli.so"}));
    EXPECT_TRUE(os.system.loadedPaths.empty());
}

TEST_F(JavaVmManagerTest, LibrariesThatDoNotLoadOrCannotCreateAJvm) {
    os.system.libraries[L"/deps/a.so"] = std::make_shared<FakeLibraryHandle>();
    os.system.libraries[L"/deps/b.so"] = std::make_shared<FakeLibraryHandle>(L"b.so: undefined");
    EXPECT_EQ(L"4 Cannot load JVM library dependency /deps/b.so. Error: b.so: undefined",
              loadFailure({}, {L"/deps/a.so", L"/deps/b.so", L"/deps/c.so"}));
    EXPECT_EQ((std::vector<std::wstring>{L"/deps/a.so", L"/deps/b.so"}), os.system.loadedPaths);

    library->symbols.clear();
    EXPECT_EQ(L"4 JVM library '/jvm/lib/server/libjvm.so' has no JNI_CreateJavaVM function",
              loadFailure({}));
    os.system.libraries[kLibjvm] = std::make_shared<FakeLibraryHandle>(L"wrong ELF class");
    EXPECT_EQ(L"4 Cannot load JVM library from '/jvm/lib/server/libjvm.so'. Error: wrong ELF class",
              loadFailure({}));
}

TEST_F(JavaVmManagerTest, OptionsReachTheJvmInOrderFollowedByTheTwoHooks) {
    createResult = JNI_ERR;
    loadFailure({L"-Xmx64m", L"-Dgreeting=Привет", L""});
    EXPECT_EQ((std::vector<std::string>{"65544", "ignore", "-Xmx64m",
                                        "-Dgreeting=\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2"
                                        "\xD0\xB5\xD1\x82",
                                        "", "exit", "abort"}),
              createOptions);
    // The pointer the failed call left behind is not a JVM: nothing may use it,
    // the destructor included.
    EXPECT_EQ(nullptr, manager.getJvm());
    loadFailure({});
    EXPECT_EQ((std::vector<std::string>{"65544", "ignore", "exit", "abort"}), createOptions);
}

TEST_F(JavaVmManagerTest, JniResultsBecomeExitCodesAndTexts) {
    const std::wstring prefix =
        L"4 Cannot create JVM 11 instance with library '" + kLibjvm + L"'. ";
    const std::pair<jint, std::wstring> cases[] = {
        {JNI_EVERSION, L"6 Cannot create JVM 11 instance with library '" + kLibjvm +
                           L"'. Java version is not sufficient for the application."},
        {JNI_ERR, prefix + L"Error -1: unknown error"},
        {JNI_EEXIST, prefix + L"Error -5: VM already created"},
        {JNI_EINVAL, prefix + L"Error -6: invalid arguments"},
        {-7, prefix + L"Error -7: #bad code#"},
        {1, prefix + L"Error 1: #bad code#"},
    };
    for (const auto& [result, expected] : cases) {
        createResult = result;
        EXPECT_EQ(expected, loadFailure({})) << result;
    }
}

TEST_F(JavaVmManagerTest, StopBeforeStartIsOnlyAWarningAndUnloadWithoutAJvmDoesNothing) {
    manager.unload();
    std::future<void> stopped = manager.stop({L"x"}, nullptr, true);
    ASSERT_EQ(std::future_status::ready, stopped.wait_for(std::chrono::seconds(0)));
    EXPECT_NO_THROW(stopped.get());
    EXPECT_NO_THROW(manager.stop({}, nullptr, false).get());
}

TEST(JavaVmManagerVersionTest, ParsesJavaVersionTextsAndTakesTheUnreadableAsSufficient) {
    const int unknown = JavaVmManager::kUnknownJavaVersion;
    const std::pair<std::wstring, int> cases[] = {
        {L"1.8.0_292", 8}, {L"1.7", 7},         {L"11.0.2", 11},           {L"17-ea", 17},
        {L"17", 17},       {L"21.0.1+12", 21},  {L"17+35", unknown},       {L"9", unknown},
        {L"", unknown},    {L"1.", unknown},    {L"1-", unknown},          {L"abc", unknown},
        {L"12a", unknown}, {L"1.x.0", unknown}, {L"99999999999", unknown},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(expected, JavaVmManager::parseJavaVersion(text)) << text;
    }
}

}  // namespace
