// Creates a real JVM through JavaVmManager and runs one test scenario in it. A
// JVM can be created only once per process, so the tests run this program once
// per scenario and read what it reports: one "key=value" fact per line on
// standard output (line breaks in values escaped as \n), the exit status and the
// log file.
//
// Usage: jvm_test_host <scenario> <libjvm.so> <fixture class dir> <log file>
//                      [minimal version [libraries to load first...]]

#include <jni.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "jvm/JMethodCaller.h"
#include "jvm/JavaVmManager.h"
#include "jvm/JvmEnv.h"
#include "jvm/SingleArgumentMethodVariant.h"
#include "jvm/TwoArgumentsMethodVariant.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LauncherJavaMethodInvocationException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

namespace {

struct Arguments {
    std::string scenario;
    std::wstring libjvm;
    std::wstring classes;
    std::wstring logPath;
    int minimalVersion = 8;
    std::vector<std::wstring> dependencies;
};

void fact(const std::string& key, const std::string& value) {
    std::string escaped;
    for (char c : value) {
        if (c == '\\') {
            escaped += "\\\\";
        } else if (c == '\n') {
            escaped += "\\n";
        } else {
            escaped += c;
        }
    }
    std::printf("%s=%s\n", key.c_str(), escaped.c_str());
    std::fflush(stdout);
}

void fact(const std::string& key, const std::wstring& value) {
    fact(key, toUtf8(value));
}

void fact(const std::string& key, bool value) {
    fact(key, std::string(value ? "true" : "false"));
}

void fact(const std::string& key, int value) {
    fact(key, std::to_string(value));
}

void exceptionFacts(const std::string& key, const LauncherException& e) {
    fact(key + ".code", e.getCode());
    fact(key + ".message", e.getMessage());
    bool fromJava = dynamic_cast<const LauncherJavaMethodInvocationException*>(&e) != nullptr;
    fact(key + ".type", std::string(fromJava ? "java" : "launcher"));
}

// Reports the LauncherException that action throws, or "none".
void thrown(const std::string& key, const std::function<void()>& action) {
    try {
        action();
        fact(key, std::string("none"));
    } catch (const LauncherException& e) {
        fact(key, std::string("thrown"));
        exceptionFacts(key, e);
    }
}

void outcome(const std::string& key, std::future<void>& future) {
    if (future.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
        fact(key, std::string("timeout"));
        return;
    }
    try {
        future.get();
        fact(key, std::string("ok"));
    } catch (const LauncherException& e) {
        fact(key, std::string("failed"));
        exceptionFacts(key, e);
    }
}

bool isAttached(JavaVM* jvm) {
    void* env = nullptr;
    return jvm->GetEnv(&env, JNI_VERSION_1_8) == JNI_OK;
}

std::wstring javaString(JvmEnv& env, const JniEntity& string) {
    if (string.isNull()) {
        return L"<null>";
    }
    JNIEnv* jni = env.getEnv();
    const char* chars = jni->GetStringUTFChars(string.getAs<jstring>(), nullptr);
    std::wstring text = toWide(chars);
    jni->ReleaseStringUTFChars(string.getAs<jstring>(), chars);
    return text;
}

std::wstring currentJavaThreadName(JvmEnv& env) {
    JniClass threadClass = env.findClass("java/lang/Thread");
    JniObject thread = env.wrapObject(
        threadClass, threadClass.callStaticObjectMethod("currentThread", "()Ljava/lang/Thread;"));
    JniEntity name = thread.callObjectMethod("getName", "()Ljava/lang/String;");
    return env.exceptionCheck() ? L"<exception>" : javaString(env, name);
}

std::atomic<int> startCallbacks{0};
std::atomic<int> stopCallbacks{0};
void onStartFinished() {
    ++startCallbacks;
}
void onStopFinished() {
    ++stopCallbacks;
}
void onJvmExit() {
    fact("exitCallback", std::string("called"));
}

// The callback runs on the worker after the future is ready, so give it a moment.
int settledCount(const std::atomic<int>& counter) {
    for (int i = 0; i < 500 && counter.load() == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return counter.load();
}

std::vector<std::wstring> jvmOptions(const Arguments& a, std::vector<std::wstring> extra = {}) {
    std::vector<std::wstring> options = {L"-Djava.class.path=" + a.classes, L"-Xshare:auto",
                                         L"-XX:TieredStopAtLevel=1", L"-Xss1m"};
    options.insert(options.end(), extra.begin(), extra.end());
    return options;
}

using Variants = std::vector<std::unique_ptr<IMethodVariant>>;

Variants bothStartVariants(std::vector<std::wstring> args = {}) {
    Variants v;
    v.push_back(std::make_unique<TwoArgumentsMethodVariant>(
        L"start", args, std::map<std::wstring, std::wstring>{}, std::map<std::wstring, bool>{}));
    v.push_back(std::make_unique<SingleArgumentMethodVariant>(L"start", args));
    return v;
}

Variants singleVariant(const wchar_t* name) {
    Variants v;
    v.push_back(std::make_unique<SingleArgumentMethodVariant>(name, std::vector<std::wstring>{}));
    return v;
}

// The normal life: load, probe, start, stop, unload.
int smoke(const Arguments& a) {
    JavaVmManager::setJvmExitCallback(&onJvmExit);
    JavaVmManager manager(getOsUtilsFactory(), L"contract.BothSignatures", a.minimalVersion);
    manager.load(jvmOptions(a, {L"-Dlauncher.test.option=from the launcher"}), a.libjvm,
                 a.dependencies);
    fact("load", std::string("ok"));
    fact("stopExists", manager.isStopMethodExists({}, false));
    fact("stopFastExists", manager.isStopMethodExists({}, true));

    std::future<void> started = manager.start(
        {L"alpha", L"beta gamma"}, {{L"zeta.dir", L"/tmp/zeta"}, {L"shared", L"/opt/shared"}},
        {{L"debug", true}, {L"quiet", false}, {L"shared", true}}, &onStartFinished);
    outcome("start", started);
    fact("startCallbacks", settledCount(startCallbacks));

    std::future<void> stopped = manager.stop({L"halt", L"now"}, &onStopFinished, false);
    outcome("stop", stopped);
    fact("stopCallbacks", settledCount(stopCallbacks));
    thrown("secondStop", [&] { manager.stop({}, nullptr, false); });

    manager.unload();
    fact("unloaded", manager.getJvm() == nullptr);
    manager.unload();
    fact("unloadedTwice", std::string("ok"));
    return 0;
}

// The JNI layer and the method caller, all in one JVM.
int jni(const Arguments& a) {
    JavaVmManager manager(getOsUtilsFactory(), L"contract.SingleOnly", a.minimalVersion);
    manager.load(jvmOptions(a, {L"-Xcheck:jni"}), a.libjvm, {});
    JavaVM* jvm = manager.getJvm();

    // Attachment rules on the creating thread.
    thrown("mainCreateNewThread", [&] { JvmEnv::createNewThread(jvm, "again"); });
    fact("mainStillAttached", isAttached(jvm));
    thrown("nullName", [&] { JvmEnv::createNewThread(jvm, nullptr); });
    thrown("nullJvmCreate", [&] { JvmEnv::createNewThread(nullptr, "x"); });
    thrown("nullJvmAttach", [&] { JvmEnv::attachToExistingThread(nullptr); });
    { JvmEnv::attachToExistingThread(jvm); }
    fact("mainAttachedAfterExistingEnv", isAttached(jvm));

    // Attachment rules on a native thread of our own.
    std::thread([&] {
        thrown("detachedAttachToExisting", [&] { JvmEnv::attachToExistingThread(jvm); });
        fact("detachedStillDetached", !isAttached(jvm));
        {
            std::unique_ptr<JvmEnv> env = JvmEnv::createNewThread(jvm, "jni-probe-thread");
            fact("probeAttached", isAttached(jvm));
            fact("probeThreadName", currentJavaThreadName(*env));
            { JvmEnv::attachToExistingThread(jvm); }
            fact("probeAttachedAfterExistingEnv", isAttached(jvm));
        }
        fact("probeDetachedAfterEnv", !isAttached(jvm));
    }).join();

    {
        std::unique_ptr<JvmEnv> env = JvmEnv::attachToExistingThread(jvm);
        JNIEnv* raw = env->getEnv();

        thrown("findMissingClass", [&] { env->findClass("contract/Missing"); });
        fact("findMissingClassPending", env->exceptionCheck());
        env->exceptionClear();

        JniClass booleanClass = env->findClass("java/lang/Boolean");
        thrown("missingStaticMethod",
               [&] { booleanClass.callStaticObjectMethod("nope", "()Ljava/lang/Object;"); });
        fact("missingStaticMethodPending", env->exceptionCheck());
        env->exceptionClear();
        thrown("missingField",
               [&] { booleanClass.getStaticObjectField("NOPE", "Ljava/lang/Boolean;"); });
        env->exceptionClear();
        JniClass classOfClass = env->getObjectClass(booleanClass.get());
        thrown("objectClassMissingMethod",
               [&] { classOfClass.callStaticVoidMethod(std::wstring(L"nope"), "()V"); });
        env->exceptionClear();
        fact("isStaticMethodExists.present",
             booleanClass.isStaticMethodExists(L"valueOf", "(Z)Ljava/lang/Boolean;"));
        fact("isStaticMethodExists.absent", booleanClass.isStaticMethodExists(L"valueOf", "()V"));
        fact("isStaticMethodExists.pending", env->exceptionCheck());
        thrown("nullGivenClass", [&] { env->classFromObject(nullptr, L"x"); });

        // A moved-from wrapper must not delete the reference it gave away; if it
        // did, reading the string below would touch a freed reference.
        JniEntity original = env->wrapObject(raw->NewStringUTF("kept alive"));
        JniEntity taker(std::move(original));
        {
            JniEntity scratch = std::move(taker);
            taker = std::move(scratch);
        }
        fact("moved.sourceNull", original.isNull());
        fact("moved.value", javaString(*env, taker));
        JniClass firstOwner = env->findClass("java/lang/String");
        JniClass secondOwner(std::move(firstOwner));
        fact("movedClass.sourceNull", firstOwner.isNull());
        fact("movedClass.name", std::string(secondOwner.getName()));
        fact("movedClass.usable",
             secondOwner.isStaticMethodExists(L"valueOf", "(I)Ljava/lang/String;"));
        JniObject typed = env->wrapObject(secondOwner, std::move(taker));
        fact("wrapObject.entityNull", taker.isNull());
        fact("wrapObject.length", static_cast<int>(typed.callIntMethod("length", "()I")));
        fact("wrapObject.pending", env->exceptionCheck());

        // Variant probes answer for their own signature only.
        JniClass single = env->findClass("contract/SingleOnly");
        SingleArgumentMethodVariant plainStart(L"start", {});
        TwoArgumentsMethodVariant mapStart(L"start", {}, {}, {});
        fact("probe.single",
             plainStart.isTargetMethodExists(*env, single.get(), L"contract/SingleOnly"));
        fact("probe.two",
             mapStart.isTargetMethodExists(*env, single.get(), L"contract/SingleOnly"));
        fact("probe.pending", env->exceptionCheck());
    }
    return 0;
}

// The method caller: class loading, the variant walk, a second start.
int caller(const Arguments& a) {
    JavaVmManager manager(getOsUtilsFactory(), L"contract.SingleOnly", a.minimalVersion);
    manager.load(jvmOptions(a, {L"-Xcheck:jni"}), a.libjvm, {});
    JavaVM* jvm = manager.getJvm();
    {
        JMethodCaller echo(jvm, L"contract/Echo", "echo-thread", bothStartVariants(), nullptr,
                           true);
        std::future<void> first = echo.start();
        thrown("secondCallerStart", [&] { echo.start(); });
        outcome("echo", first);
    }
    {
        JMethodCaller neither(jvm, L"contract/Neither", "neither-thread", bothStartVariants(),
                              nullptr, true);
        fact("neither.exists", neither.isTargetMethodExists());
        std::future<void> f = neither.start();
        outcome("neither", f);
    }
    {
        JMethodCaller noStop(jvm, L"contract/SingleOnly", "no-stop-thread", singleVariant(L"stop"),
                             nullptr, false);
        fact("noStop.exists", noStop.isTargetMethodExists());
        std::future<void> f = noStop.start();
        outcome("noStop", f);
    }
    for (const wchar_t* name :
         {L"contract/Missing", L"contract/BadFormat", L"contract/InitFails"}) {
        std::string key = "load." + toUtf8(std::wstring(name).substr(9));
        // Started before probed: a class whose initialiser failed once is reported
        // as missing (NoClassDefFoundError) from then on.
        JMethodCaller loader(jvm, name, "never-started", singleVariant(L"start"), nullptr, true);
        thrown(key, [&] { loader.start(); });
        fact(key + ".exists", loader.isTargetMethodExists());
    }
    {
        std::unique_ptr<JvmEnv> env = JvmEnv::attachToExistingThread(jvm);
        fact("mainPendingAtEnd", env->exceptionCheck());
    }
    thrown("emptyVariants",
           [&] { JMethodCaller(jvm, L"contract/Echo", "x", Variants{}, nullptr, true); });
    return 0;
}

// What the variants hand to Java and what they make of Java's exceptions.
int variants(const Arguments& a) {
    JavaVmManager manager(getOsUtilsFactory(), L"contract.SingleOnly", a.minimalVersion);
    manager.load(jvmOptions(a, {L"-Xcheck:jni"}), a.libjvm, {});
    JavaVM* jvm = manager.getJvm();
    {
        JMethodCaller echo(jvm, L"contract/Echo", "echo-thread", bothStartVariants(), nullptr,
                           true);
        std::future<void> f = echo.start();
        outcome("echo", f);
    }
    const std::pair<const char*, const wchar_t*> failing[] = {
        {"nested", L"contract/NestedFailure"},
        {"broken", L"contract/BrokenTrace"},
    };
    for (const auto& [key, name] : failing) {
        JMethodCaller caller(jvm, name, "failing-thread", singleVariant(L"start"), nullptr, true);
        std::future<void> f = caller.start();
        outcome(key, f);
    }
    {
        JMethodCaller stopThrows(jvm, L"contract/StopThrows", "stop-throws-thread",
                                 singleVariant(L"stop"), nullptr, false);
        std::future<void> f = stopThrows.start();
        outcome("stopThrows", f);
    }
    return 0;
}

// A minimal version above the real one, then a second JVM in the same process.
int version(const Arguments& a) {
    JavaVmManager manager(getOsUtilsFactory(), L"contract.SingleOnly", a.minimalVersion);
    thrown("load", [&] { manager.load(jvmOptions(a), a.libjvm, {}); });
    fact("jvmAfterFailure", manager.getJvm() == nullptr);
    // The JVM was destroyed, and HotSpot never creates a second one in a process.
    JavaVmManager second(getOsUtilsFactory(), L"contract.SingleOnly", 8);
    thrown("secondLoad", [&] { second.load(jvmOptions(a), a.libjvm, {}); });
    return 0;
}

// The contract ends the process itself; the hooks report it.
int processEnd(const Arguments& a, const wchar_t* className) {
    JavaVmManager::setJvmExitCallback(&onJvmExit);
    JavaVmManager manager(getOsUtilsFactory(), className, a.minimalVersion);
    manager.load(jvmOptions(a), a.libjvm, {});
    std::future<void> started = manager.start({}, {}, {}, nullptr);
    outcome("start", started);
    // Only reached when the JVM did not end the process.
    fact("survived", std::string("yes"));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) {
        std::fprintf(stderr,
                     "usage: %s <scenario> <libjvm.so> <class dir> <log file> [minimal version]\n",
                     argv[0]);
        return 64;
    }
    Arguments a;
    a.scenario = argv[1];
    a.libjvm = toWide(argv[2]);
    a.classes = toWide(argv[3]);
    a.logPath = toWide(argv[4]);
    if (argc > 5) {
        a.minimalVersion = std::atoi(argv[5]);
    }
    for (int i = 6; i < argc; ++i) {
        a.dependencies.push_back(toWide(argv[i]));
    }

    IOsUtilsFactory& os = getOsUtilsFactory();
    LocalizationSupport catalogue(os.getSystemUtils());
    try {
        initLogger(a.logPath);
        int status = 64;
        if (a.scenario == "smoke") {
            status = smoke(a);
        } else if (a.scenario == "jni") {
            status = jni(a);
        } else if (a.scenario == "caller") {
            status = caller(a);
        } else if (a.scenario == "variants") {
            status = variants(a);
        } else if (a.scenario == "version") {
            status = version(a);
        } else if (a.scenario == "exit") {
            status = processEnd(a, L"contract.ExitsZero");
        } else if (a.scenario == "halt") {
            status = processEnd(a, L"contract.Halts");
        } else {
            std::fprintf(stderr, "unknown scenario %s\n", a.scenario.c_str());
        }
        shutdownLogger();
        return status;
    } catch (const LauncherException& e) {
        exceptionFacts("uncaught", e);
        shutdownLogger();
        return 70;
    }
}
