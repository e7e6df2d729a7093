#include "jvm/JavaVmManager.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fakes/FakeLibraryHandle.h"
#include "fakes/FakeOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "support/Catalogue.h"

// What only a stand-in for the JVM library can show: the options JNI_CreateJavaVM
// is handed and how each of its failures is reported.
namespace {

// Version, ignoreUnrecognized, then the options, copied while the call lasted.
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

TEST(JavaVmManagerTest, JniFailuresBecomeExitCodesAndTexts) {
    ScopedCatalogue english;
    FakeOsUtilsFactory os;
    for (const wchar_t* path : {L"/jvm/libjvm.so", L"/jvm/unloadable.so"}) {
        os.files.addFile(path);
    }
    auto library = std::make_shared<FakeLibraryHandle>();
    library->symbols["JNI_CreateJavaVM"] = reinterpret_cast<void*>(&fakeCreateJavaVm);
    os.system.libraries[L"/jvm/libjvm.so"] = library;
    os.system.libraries[L"/deps/b.so"] = std::make_shared<FakeLibraryHandle>(L"b.so: undefined");
    auto failure = [&](const std::vector<std::wstring>& args,
                       const std::vector<std::wstring>& dependencies = {},
                       const std::wstring& libjvm = L"/jvm/libjvm.so") {
        JavaVmManager manager(os, L"com.example.Service", 11);
        try {
            manager.load(args, libjvm, dependencies);
        } catch (const LauncherException& e) {
            EXPECT_EQ(nullptr, manager.getJvm());
            return std::to_wstring(e.getCode()) + L" " + e.getMessage();
        }
        return std::wstring(L"no failure");
    };
    EXPECT_EQ(L"4 Cannot load JVM library dependency /deps/b.so. Error: b.so: undefined",
              failure({}, {L"/deps/b.so"}));
    EXPECT_EQ(
        L"4 Cannot load JVM library from '/jvm/unloadable.so'. Error: /jvm/unloadable.so: "
        L"cannot open shared object file: No such file or directory",
        failure({}, {}, L"/jvm/unloadable.so"));

    const std::wstring prefix = L"4 Cannot create JVM instance with library '/jvm/libjvm.so'. ";
    const std::pair<jint, std::wstring> cases[] = {
        {JNI_EVERSION,
         L"6 Cannot create JVM instance with library '/jvm/libjvm.so'. Error -3: version error"},
        {JNI_ERR, prefix + L"Error -1: unknown error"},
        {JNI_EEXIST, prefix + L"Error -5: VM already created"},
        {JNI_EINVAL, prefix + L"Error -6: invalid arguments"},
        {-7, prefix + L"Error -7: #bad code#"},
        {1, prefix + L"Error 1: #bad code#"},
    };
    for (const auto& [result, expected] : cases) {
        createResult = result;
        EXPECT_EQ(expected, failure({})) << result;
    }
    // The options in order, as UTF-8, then the two hooks.
    failure({L"-Xmx64m", L"-Dgreeting=Привет", L""});
    EXPECT_EQ((std::vector<std::string>{"65544", "ignore", "-Xmx64m", "-Dgreeting=Привет", "",
                                        "exit", "abort"}),
              createOptions);
}

// Only a Java 8 reports its version this way; what cannot be read counts as sufficient.
TEST(JavaVmManagerTest, ParsesJavaVersionTexts) {
    const int unknown = JavaVmManager::kUnknownJavaVersion;
    const std::pair<std::wstring, int> cases[] = {
        {L"1.8.0_292", 8},   {L"1.7", 7},       {L"11.0.2", 11},          {L"17-ea", 17},
        {L"17+35", unknown}, {L"9", unknown},   {L"", unknown},           {L"1.", unknown},
        {L"1-", unknown},    {L"12a", unknown}, {L"99999999999", unknown}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(expected, JavaVmManager::parseJavaVersion(text)) << text;
    }
}

}  // namespace
