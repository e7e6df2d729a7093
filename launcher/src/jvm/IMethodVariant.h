#pragma once

#include <jni.h>

#include <functional>
#include <string>
#include <vector>

#include "jvm/JniEntity.h"

class JvmEnv;

// One signature in which a contract class may offer a static entry point: it
// knows the method name and the argument values, probes the class for the method
// and calls it, turning a Java exception into a
// LauncherJavaMethodInvocationException that carries the whole Java trace.
class IMethodVariant {
  public:
    // Never throws for a missing method.
    virtual bool isTargetMethodExists(JvmEnv& env, jclass classRef,
                                      const std::wstring& className) = 0;
    // entering runs on the calling thread right before the JNI call: once it has run,
    // an end of the call, normal or by a Java exception, means the method was entered.
    virtual void call(JvmEnv& env, jclass classRef, const std::wstring& className,
                      const std::function<void()>& entering) = 0;
    // The variant's class name and its method name, as in "Variant(start)".
    virtual std::wstring toString() const = 0;
    virtual const std::wstring& getMethodName() const = 0;
    virtual ~IMethodVariant() = default;

    // The throwable's text, its frames one per indented line and every cause
    // after a line "Caused by: ...". A failure while reading it ends the text
    // early instead of escaping.
    static std::wstring getJavaExceptionText(JvmEnv& env, jobject throwable);

  protected:
    static bool hasStaticMethod(JvmEnv& env, jclass classRef, const std::wstring& className,
                                const std::wstring& methodName, const char* signature);
    // A Java String[] of the arguments, never null.
    static JniEntity makeStringArray(JvmEnv& env, const std::vector<std::wstring>& values);
    static std::wstring joinArgs(const std::vector<std::wstring>& args);
    // Logs and throws a Java exception pending after a call made for the method;
    // JNI forbids most further calls while one is pending.
    static void throwIfJavaThrew(JvmEnv& env, const wchar_t* logClass,
                                 const std::wstring& className, const std::wstring& methodName);
    // Called right after the Java method returns: logs the outcome and throws if
    // the method threw.
    static void checkOutcome(JvmEnv& env, const wchar_t* logClass, const std::wstring& className,
                             const std::wstring& methodName);
};
