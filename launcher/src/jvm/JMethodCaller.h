#pragma once

#include <jni.h>

#include <atomic>
#include <future>
#include <memory>
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

  private:
    void prepare(JvmEnv& env);
    [[noreturn]] void throwMainClassFindError(JvmEnv& env);
    void run();
    void internalRun();
    // The first variant the class has, or null; logs the walk.
    IMethodVariant* findVariant(JvmEnv& env, jclass classRef);

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
};

// The message of a Java throwable (its getMessage()), empty when it has none.
std::wstring getJavaThrowableMessage(JvmEnv& env, jobject throwable);
