// Creates a real JVM through JavaVmManager and runs one test scenario in it. A
// JVM can be created only once per process, so the tests run this program once
// per scenario and read what it reports: one "key=value" fact per line on
// standard output (line breaks in values escaped as \n), the exit status and the
// log file.
//
// Usage: jvm_test_host life|calls <libjvm.so> <fixture class dir> <log file>
//                      <minimal version> <contract class> [libraries to load first...]

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <future>
#include <thread>

#include "jvm/JMethodCaller.h"
#include "jvm/JavaVmManager.h"
#include "jvm/JvmEnv.h"
#include "jvm/SingleArgumentMethodVariant.h"
#include "jvm/TwoArgumentsMethodVariant.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherJavaMethodInvocationException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

namespace {

void fact(const std::string& key, std::string value) {
    for (size_t at = value.find('\n'); at != std::string::npos; at = value.find('\n', at)) {
        value.replace(at, 1, "\\n");
    }
    std::printf("%s=%s\n", key.c_str(), value.c_str());
    std::fflush(stdout);
}

void flag(const std::string& key, bool value) {
    fact(key, value ? "true" : "false");
}

// Reports "ok", or what action threw: its exit code ("java" for an exception
// of the Java method) and its message.
void outcome(const std::string& key, const std::function<void()>& action) {
    try {
        action();
        fact(key, "ok");
    } catch (const LauncherException& e) {
        bool java = dynamic_cast<const LauncherJavaMethodInvocationException*>(&e) != nullptr;
        fact(key, java ? "java" : std::to_string(e.getCode()));
        fact(key + ".message", toUtf8(e.getMessage()));
    }
}

std::atomic<int> finishedCallbacks{0};
void onFinished() {
    ++finishedCallbacks;
}
void onJvmExit() {
    fact("exitCallback", "called");
}

using Variants = std::vector<std::unique_ptr<IMethodVariant>>;

// Both start variants with no arguments, or the plain one for method.
Variants variants(const wchar_t* method) {
    Variants v;
    if (method == nullptr) {
        v.push_back(std::make_unique<TwoArgumentsMethodVariant>(
            L"start", std::vector<std::wstring>{}, std::map<std::wstring, std::wstring>{},
            std::map<std::wstring, bool>{}));
        method = L"start";
    }
    v.push_back(std::make_unique<SingleArgumentMethodVariant>(method, std::vector<std::wstring>{}));
    return v;
}

struct Host {
    std::wstring libjvm;
    std::wstring classes;
    int minimalVersion;
    std::wstring className;
    std::vector<std::wstring> dependencies;
};

// The normal life: load, probe, start, stop, unload; it ends early when the
// JVM is refused or the contract ends the process.
void life(const Host& h) {
    JavaVmManager::setJvmExitCallback(&onJvmExit);
    JavaVmManager manager(getOsUtilsFactory(), h.className, h.minimalVersion);
    outcome("load", [&] {
        manager.load(
            {L"-Djava.class.path=" + h.classes, L"-Dlauncher.test.option=from the launcher"},
            h.libjvm, h.dependencies);
    });
    if (manager.getJvm() == nullptr) {
        return;
    }
    flag("stopExists", manager.isStopMethodExists({}, false));
    flag("stopFastExists", manager.isStopMethodExists({}, true));
    outcome("start", [&] {
        manager
            .start({L"alpha", L"beta gamma"},
                   {{L"zeta.dir", L"/tmp/zeta"}, {L"shared", L"/opt/shared"}},
                   {{L"debug", true}, {L"quiet", false}, {L"shared", true}}, &onFinished)
            .get();
    });
    outcome("stop", [&] { manager.stop({L"halt", L"now"}, &onFinished, false).get(); });
    outcome("secondStop", [&] { manager.stop({}, nullptr, false); });
    // The callbacks run on the workers just after their futures are ready.
    for (int i = 0; i < 500 && finishedCallbacks < 2; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    fact("finishedCallbacks", std::to_string(finishedCallbacks));
    manager.unload();
    flag("unloaded", manager.getJvm() == nullptr);
    manager.unload();
}

// The method caller and the variants, all in one JVM.
void calls(const Host& h) {
    JavaVmManager manager(getOsUtilsFactory(), h.className, h.minimalVersion);
    manager.load({L"-Djava.class.path=" + h.classes, L"-Xcheck:jni"}, h.libjvm, {});
    JavaVM* jvm = manager.getJvm();

    const struct {
        const char* key;
        const wchar_t* className;
        const wchar_t* method;  // null for both start variants
        bool isStart;
    } cases[] = {
        {"echo", L"contract/Echo", nullptr, true},
        {"single", L"contract/SingleOnly", nullptr, true},
        {"neither", L"contract/Neither", nullptr, true},
        {"noStop", L"contract/SingleOnly", L"stop", false},
        {"Missing", L"contract/Missing", L"start", true},
        {"BadFormat", L"contract/BadFormat", L"start", true},
        {"InitFails", L"contract/InitFails", L"start", true},
        {"nested", L"contract/NestedFailure", L"start", true},
        {"broken", L"contract/BrokenTrace", L"start", true},
        {"stopThrows", L"contract/StopThrows", L"stop", false},
    };
    for (const auto& c : cases) {
        const std::string key = c.key;
        JMethodCaller caller(jvm, c.className, "caller-thread", variants(c.method), nullptr,
                             c.isStart);
        // Started before probed: a class whose initialiser failed once is
        // reported as missing from then on.
        outcome(key, [&] {
            std::future<void> first = caller.start();
            outcome(key + ".again", [&] { caller.start(); });
            first.get();
        });
        flag(key + ".exists", caller.isTargetMethodExists());
    }

    // A class that failed to load leaves no Java exception behind.
    flag("pendingAfterCalls", JvmEnv::attachToExistingThread(jvm)->exceptionCheck());
}

}  // namespace

int main(int argc, char** argv) {
    Host h{toWide(argv[2]), toWide(argv[3]), std::stoi(argv[5]), toWide(argv[6]), {}};
    for (int i = 7; i < argc; ++i) {
        h.dependencies.push_back(toWide(argv[i]));
    }
    LocalizationSupport catalogue(getOsUtilsFactory().getSystemUtils());
    initLogger(toWide(argv[4]));
    std::string(argv[1]) == "calls" ? calls(h) : life(h);
    shutdownLogger();
    return 0;
}
