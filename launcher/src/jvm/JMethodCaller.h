#pragma once

#include <jni.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "jvm/IMethodVariant.h"

class JvmEnv;

// Runs one static method of the contract class on a native thread of its own,
// attached to the JVM under a given name, and hands the outcome back as a future.
// The class is loaded on the creating thread; the first variant the class really
// has is the one called.
class JMethodCaller {
  public:
    using FinishedCallback = void (*)();

    JMethodCaller(JavaVM* jvm, std::wstring className, const char* threadName,
                  std::vector<std::unique_ptr<IMethodVariant>> variants,
                  FinishedCallback finishedCallback, bool isStartMethod);
    // The thread is never joined: it must have finished before this goes.
    ~JMethodCaller();
    JMethodCaller(const JMethodCaller&) = delete;
    JMethodCaller& operator=(const JMethodCaller&) = delete;

    // On a thread attached to the JVM. Class loading failures (code 7) are thrown
    // here; everything that fails later arrives through the future.
    std::future<void> start();
    // On a thread attached to the JVM; starts nothing and calls nothing.
    bool isTargetMethodExists();
    // On a thread attached to the JVM, once after start: blocks until the method has
    // been entered (true), its frame on the calling thread's stack, or until the
    // thread has ended without entering it (false).
    bool waitUntilEntered();

  private:
    void prepare(JvmEnv& env);
    [[noreturn]] void throwMainClassFindError(JvmEnv& env);
    void run();
    void internalRun();
    // The first variant the class has, or null; logs the walk.
    IMethodVariant* findVariant(JvmEnv& env, jclass classRef);
    // How far the calling thread has got: the entering waits on it.
    enum class Progress { kPreparing, kCalling, kEnded };
    void setProgress(Progress progress, jobject thread = nullptr);
    // Where the calling thread stands: no frame of the method yet, running inside it,
    // or blocked or waiting inside it. When the JVM cannot tell, settled, so that a
    // stop is never held back for good. frameKnown skips the look for the frame.
    enum class FrameState { kAbsent, kRunning, kSettled };
    FrameState probe(JvmEnv& env, jobject thread, bool frameKnown);

    std::promise<void> result_;
    std::wstring className_;
    std::vector<std::unique_ptr<IMethodVariant>> variants_;
    std::string threadName_;
    JavaVM* jvm_;
    std::atomic<bool> started_{false};
    jobject classRef_ = nullptr;
    jobject classLoaderRef_ = nullptr;
    FinishedCallback finishedCallback_;
    std::atomic<bool> dataPrepared_{false};
    bool isStartMethod_;
    std::mutex progressMutex_;
    std::condition_variable progressChanged_;
    Progress progress_ = Progress::kPreparing;
    bool calledMethod_ = false;
    // The calling thread's java.lang.Thread, a global reference once it calls.
    jobject callingThread_ = nullptr;
};

// The message of a Java throwable (its getMessage()), empty when it has none.
std::wstring getJavaThrowableMessage(JvmEnv& env, jobject throwable);
