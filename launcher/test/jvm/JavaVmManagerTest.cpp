#include "jvm/JavaVmManager.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "fakes/FakeLibraryHandle.h"
#include "fakes/FakeOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LauncherOsException.h"
#include "support/Catalogue.h"

namespace {

const std::wstring kLibjvm = L"/jvm/lib/server/libjvm.so";

std::string elfHeader(char elfClass) {
    std::string header =
        "\x7F"
        "ELF";
    header += elfClass;
    header.resize(64, '\0');
    return header;
}

// What the fake JNI_CreateJavaVM was handed, copied while the call lasted.
struct CreateCall {
    int calls = 0;
    jint version = 0;
    jboolean ignoreUnrecognized = JNI_FALSE;
    std::vector<std::string> options;
    std::vector<void*> extraInfo;
};
CreateCall lastCreate;
jint createResult = JNI_ERR;

jint JNICALL fakeCreateJavaVm(JavaVM** vm, void** env, void* args) {
    auto* init = static_cast<JavaVMInitArgs*>(args);
    lastCreate = CreateCall();
    lastCreate.calls = 1;
    lastCreate.version = init->version;
    lastCreate.ignoreUnrecognized = init->ignoreUnrecognized;
    for (jint i = 0; i < init->nOptions; ++i) {
        lastCreate.options.push_back(init->options[i].optionString);
        lastCreate.extraInfo.push_back(init->options[i].extraInfo);
    }
    // Garbage on failure, as a real library may leave: it must never be used.
    *vm = reinterpret_cast<JavaVM*>(0x10);
    *env = nullptr;
    return createResult;
}

class JavaVmManagerTest : public ::testing::Test {
  protected:
    JavaVmManagerTest() {
        os.files.addFile(kLibjvm, elfHeader(2));
        library = std::make_shared<FakeLibraryHandle>();
        library->symbols["JNI_CreateJavaVM"] = reinterpret_cast<void*>(&fakeCreateJavaVm);
        os.system.libraries[kLibjvm] = library;
    }

    // Runs load and returns what it threw.
    LauncherException loadFailure(JavaVmManager& manager, const std::vector<std::wstring>& args,
                                  const std::vector<std::wstring>& dependencies = {}) {
        try {
            manager.load(args, kLibjvm, dependencies);
        } catch (const LauncherException& e) {
            return e;
        }
        ADD_FAILURE() << "load did not fail";
        return LauncherException(0, L"");
    }

    ScopedCatalogue english;
    FakeOsUtilsFactory os;
    std::shared_ptr<FakeLibraryHandle> library;
};

TEST_F(JavaVmManagerTest, ALibraryThatIsNot64BitElfFailsBeforeAnythingIsLoaded) {
    os.files.addFile(kLibjvm, elfHeader(1));
    JavaVmManager manager(os, L"com.example.Service", 11);
    LauncherException e = loadFailure(manager, {}, {L"/deps/libjli.so"});
    EXPECT_EQ(2, e.getCode());
    EXPECT_EQ(L"'/jvm/lib/server/libjvm.so' is not a 64-bit library", e.getMessage());
    EXPECT_TRUE(os.system.loadedPaths.empty());

    os.files.addFile(kLibjvm, "#!/bin/sh\necho not a library\n");
    try {
        manager.load({}, kLibjvm, {L"/deps/libjli.so"});
        FAIL() << "load accepted a script";
    } catch (const LauncherOsException& notElf) {
        EXPECT_EQ(20, notElf.getCode());
        EXPECT_EQ(L"A library format is not ELF: '/jvm/lib/server/libjvm.so'", notElf.getMessage());
    }
    EXPECT_TRUE(os.system.loadedPaths.empty());
}

TEST_F(JavaVmManagerTest, DependenciesLoadInOrderUntilTheFirstFailure) {
    os.system.libraries[L"/deps/a.so"] = std::make_shared<FakeLibraryHandle>();
    os.system.libraries[L"/deps/b.so"] =
        std::make_shared<FakeLibraryHandle>(L"b.so: undefined symbol: x");
    JavaVmManager manager(os, L"Service", 11);
    LauncherException e = loadFailure(manager, {}, {L"/deps/a.so", L"/deps/b.so", L"/deps/c.so"});
    EXPECT_EQ(4, e.getCode());
    EXPECT_EQ(L"Cannot load JVM library dependency /deps/b.so. Error: b.so: undefined symbol: x",
              e.getMessage());
    EXPECT_EQ((std::vector<std::wstring>{L"/deps/a.so", L"/deps/b.so"}), os.system.loadedPaths);
}

TEST_F(JavaVmManagerTest, AJvmLibraryThatDoesNotLoadOrCannotCreateAJvm) {
    os.system.libraries[kLibjvm] =
        std::make_shared<FakeLibraryHandle>(L"libjvm.so: wrong ELF class: ELFCLASS32");
    JavaVmManager unloadable(os, L"Service", 11);
    LauncherException e = loadFailure(unloadable, {});
    EXPECT_EQ(4, e.getCode());
    EXPECT_EQ(
        L"Cannot load JVM library from '/jvm/lib/server/libjvm.so'. Error: libjvm.so: wrong "
        L"ELF class: ELFCLASS32",
        e.getMessage());

    os.system.libraries[kLibjvm] = std::make_shared<FakeLibraryHandle>();
    JavaVmManager noEntryPoint(os, L"Service", 11);
    e = loadFailure(noEntryPoint, {});
    EXPECT_EQ(4, e.getCode());
    EXPECT_EQ(L"JVM library '/jvm/lib/server/libjvm.so' has no JNI_CreateJavaVM function",
              e.getMessage());
}

TEST_F(JavaVmManagerTest, OptionsReachTheJvmInOrderFollowedByTheTwoHooks) {
    createResult = JNI_EEXIST;
    {
        JavaVmManager manager(os, L"Service", 11);
        LauncherException e = loadFailure(manager, {L"-Xmx64m", L"-Dgreeting=Привет", L""});
        ASSERT_EQ(1, lastCreate.calls);
        EXPECT_EQ(0x10008, lastCreate.version);
        EXPECT_EQ(JNI_TRUE, lastCreate.ignoreUnrecognized);
        EXPECT_EQ((std::vector<std::string>{"-Xmx64m",
                                            "-Dgreeting=\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2"
                                            "\xD0\xB5\xD1\x82",
                                            "", "exit", "abort"}),
                  lastCreate.options);
        EXPECT_EQ((std::vector<void*>{nullptr, nullptr, nullptr,
                                      reinterpret_cast<void*>(&JvmSystemExitHook),
                                      reinterpret_cast<void*>(&JvmAbortHook)}),
                  lastCreate.extraInfo);
        // The minimal version fills the text's first slot as a number.
        EXPECT_EQ(4, e.getCode());
        EXPECT_EQ(
            L"Cannot create JVM 11 instance with library '/jvm/lib/server/libjvm.so'. Error "
            L"-5: VM already created",
            e.getMessage());
        // The pointer the failed call left behind is not a JVM: nothing may use it,
        // the destructor included.
        EXPECT_EQ(nullptr, manager.getJvm());
    }

    JavaVmManager bare(os, L"Service", 11);
    loadFailure(bare, {});
    EXPECT_EQ((std::vector<std::string>{"exit", "abort"}), lastCreate.options);
}

TEST_F(JavaVmManagerTest, JniResultsBecomeExitCodesAndTexts) {
    struct Case {
        jint result;
        int code;
        std::wstring message;
    };
    const std::wstring prefix = L"Cannot create JVM 17 instance with library '" + kLibjvm + L"'. ";
    const Case cases[] = {
        {JNI_EVERSION, 6,
         L"Cannot create JVM 17 instance with library '" + kLibjvm +
             L"'. Java version is not sufficient for the application."},
        {JNI_ERR, 4, prefix + L"Error -1: unknown error"},
        {JNI_EDETACHED, 4, prefix + L"Error -2: thread detached from the VM"},
        {JNI_ENOMEM, 4, prefix + L"Error -4: not enough memory"},
        {JNI_EINVAL, 4, prefix + L"Error -6: invalid arguments"},
        {-7, 4, prefix + L"Error -7: #bad code#"},
        {1, 4, prefix + L"Error 1: #bad code#"},
    };
    for (const Case& c : cases) {
        createResult = c.result;
        JavaVmManager manager(os, L"Service", 17);
        LauncherException e = loadFailure(manager, {});
        EXPECT_EQ(c.code, e.getCode()) << c.result;
        EXPECT_EQ(c.message, e.getMessage()) << c.result;
    }
}

TEST_F(JavaVmManagerTest, StopBeforeStartIsOnlyAWarningAndUnloadWithoutAJvmDoesNothing) {
    JavaVmManager manager(os, L"Service", 11);
    manager.unload();
    std::future<void> stopped = manager.stop({L"x"}, nullptr, true);
    ASSERT_EQ(std::future_status::ready, stopped.wait_for(std::chrono::seconds(0)));
    EXPECT_NO_THROW(stopped.get());
    // Still not started, so a second stop is no error either.
    EXPECT_NO_THROW(manager.stop({}, nullptr, false).get());
    manager.unload();
    EXPECT_TRUE(os.system.loadedPaths.empty());
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
