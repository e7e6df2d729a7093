#pragma once

#include <jni.h>

#include <future>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "jvm/JMethodCaller.h"
#include "platform/ILibraryHandle.h"
#include "platform/IOsUtilsFactory.h"

class JniClass;
class JvmEnv;

// Owns the one JVM the launcher runs in its own process: loads the JVM library
// and its dependencies, creates the JVM with the process exit and abort hooks,
// insists on a minimal Java version, runs the contract class's start and
// stop/stopFast methods on threads of their own, and destroys the JVM.
class JavaVmManager {
  public:
    using Callback = void (*)();

    // The class name comes dotted ("com.example.Service") and is kept in JNI form.
    JavaVmManager(IOsUtilsFactory& os, const std::wstring& className, int minimalJavaVersion);
    ~JavaVmManager();
    JavaVmManager(const JavaVmManager&) = delete;
    JavaVmManager& operator=(const JavaVmManager&) = delete;

    // Process-wide: called by the exit and abort hooks on whatever thread the JVM
    // ends the process from.
    static void setJvmExitCallback(Callback callback);

    // On return the JVM is up, the calling thread is attached to it and the Java
    // version has been accepted; every failure is a LauncherException.
    void load(const std::vector<std::wstring>& jvmArgs, const std::wstring& jvmLibPath,
              const std::vector<std::wstring>& jvmLibDependencies);
    // Destroys the JVM and unloads its library; does nothing without a JVM.
    void unload();
    // The contract's start method on "launcher-start-thread"; the map-taking
    // signature is preferred over the plain one.
    std::future<void> start(const std::vector<std::wstring>& args,
                            const std::map<std::wstring, std::wstring>& pathProperties,
                            const std::map<std::wstring, bool>& booleanProperties,
                            Callback finishedCallback);
    // The contract's stop (or stopFast) method on "launcher-stop-thread"; before
    // start it only warns and returns a ready future.
    std::future<void> stop(const std::vector<std::wstring>& args, Callback finishedCallback,
                           bool fast);
    bool isStopMethodExists(const std::vector<std::wstring>& args, bool fast);
    // After start, on an attached thread: blocks until the contract's start method has
    // been entered (true) or its thread has ended without entering it (false).
    bool waitForStartMethodEntered();

    JavaVM* getJvm() const { return jvm_; }

    // The feature number of a "java.version" text; 65535 (taken as sufficient)
    // when the text cannot be read.
    static int parseJavaVersion(const std::wstring& version);
    static constexpr int kUnknownJavaVersion = 65535;

  private:
    bool isJavaVersionSufficient(JvmEnv& env);
    bool checkFeatureVersion(JvmEnv& env, const JniClass& versionClass);
    bool checkJavaVersionProperty(JvmEnv& env);

    IOsUtilsFactory& os_;
    std::wstring className_;
    int minimalJavaVersion_;
    std::shared_ptr<ILibraryHandle> jvmLibrary_;
    JavaVM* jvm_ = nullptr;
    std::unique_ptr<JMethodCaller> startCaller_;
    std::unique_ptr<JMethodCaller> stopCaller_;
};

// Handed to the JVM as its "exit" and "abort" options; never called by the launcher.
extern "C" void JNICALL JvmSystemExitHook(jint exitCode);
extern "C" void JNICALL JvmAbortHook();
