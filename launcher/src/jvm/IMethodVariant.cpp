#include "jvm/IMethodVariant.h"

#include "jvm/JvmEnv.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LauncherJavaMethodInvocationException.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

namespace {

// Appends the Java string's text; false when its characters are not available.
bool appendJavaString(JNIEnv* jni, const JniEntity& string, std::wstring& out,
                      const std::wstring& prefix) {
    if (string.isNull()) {
        return false;
    }
    const char* chars = jni->GetStringUTFChars(string.getAs<jstring>(), nullptr);
    if (chars == nullptr) {
        return false;
    }
    out += prefix;
    out += toWide(chars);
    jni->ReleaseStringUTFChars(string.getAs<jstring>(), chars);
    return true;
}

// The text of one throwable and its frames; false when the whole text must end.
bool appendThrowable(JvmEnv& env, const JniObject& throwable, const JniClass& elementClass,
                     const std::wstring& lineSeparator, std::wstring& text) {
    JNIEnv* jni = env.getEnv();
    JniEntity trace =
        throwable.callObjectMethod("getStackTrace", "()[Ljava/lang/StackTraceElement;");
    if (env.exceptionCheck()) {
        env.exceptionClear();
        return false;
    }
    if (trace.isNull()) {
        return false;
    }
    jsize frameCount = jni->GetArrayLength(trace.getAs<jobjectArray>());

    JniEntity description = throwable.callObjectMethod("toString", "()Ljava/lang/String;");
    if (env.exceptionCheck()) {
        env.exceptionClear();
        return false;
    }
    appendJavaString(jni, description, text,
                     text.empty() ? std::wstring() : lineSeparator + L"Caused by: ");

    const std::wstring framePrefix = lineSeparator + L"    ";
    for (jsize i = 0; i < frameCount; ++i) {
        JniObject frame = env.wrapObject(elementClass, env.wrapObject(jni->GetObjectArrayElement(
                                                           trace.getAs<jobjectArray>(), i)));
        if (frame.isNull()) {
            continue;
        }
        JniEntity frameText = frame.callObjectMethod("toString", "()Ljava/lang/String;");
        if (env.exceptionCheck()) {
            env.exceptionClear();
            return false;
        }
        appendJavaString(jni, frameText, text, framePrefix);
    }
    return true;
}
}  // namespace

std::wstring IMethodVariant::getJavaExceptionText(JvmEnv& env, jobject throwable) {
    env.exceptionClear();
    JniClass throwableClass = env.findClass("java/lang/Throwable");
    JniClass elementClass = env.findClass("java/lang/StackTraceElement");
    const std::wstring& lineSeparator = getOsUtilsFactory().getLineSeparator();

    std::wstring text;
    try {
        JniObject current = throwableClass.wrapLocal(throwable);
        while (!current.isNull()) {
            if (!appendThrowable(env, current, elementClass, lineSeparator, text)) {
                break;
            }
            JniEntity cause = current.callObjectMethod("getCause", "()Ljava/lang/Throwable;");
            if (env.exceptionCheck()) {
                env.exceptionClear();
                break;
            }
            current = env.wrapObject(throwableClass, std::move(cause));
        }
    } catch (const LauncherException&) {
        // A lookup that fails here must not hide the Java failure being reported.
        env.exceptionClear();
    }
    return text;
}

bool IMethodVariant::hasStaticMethod(JvmEnv& env, jclass classRef, const std::wstring& className,
                                     const std::wstring& methodName, const char* signature) {
    return env.classFromObject(classRef, className).isStaticMethodExists(methodName, signature);
}

JniEntity IMethodVariant::makeStringArray(JvmEnv& env, const std::vector<std::wstring>& values) {
    JNIEnv* jni = env.getEnv();
    JniClass stringClass = env.findClass("java/lang/String");
    JniEntity array = env.wrapObject(
        jni->NewObjectArray(static_cast<jsize>(values.size()), stringClass.get(), nullptr));
    for (size_t i = 0; i < values.size(); ++i) {
        JniEntity value = env.wrapObject(jni->NewStringUTF(toUtf8(values[i]).c_str()));
        jni->SetObjectArrayElement(array.getAs<jobjectArray>(), static_cast<jsize>(i), value.get());
    }
    return array;
}

std::wstring IMethodVariant::joinArgs(const std::vector<std::wstring>& args) {
    std::wstring joined;
    for (size_t i = 0; i < args.size(); ++i) {
        if (i > 0) {
            joined += L';';
        }
        joined += args[i];
    }
    return joined;
}

void IMethodVariant::throwIfJavaThrew(JvmEnv& env, const wchar_t* logClass,
                                      const std::wstring& className,
                                      const std::wstring& methodName) {
    if (env.exceptionCheck()) {
        JniEntity thrown = env.exceptionOccurred();
        std::wstring javaText = getJavaExceptionText(env, thrown.get());
        LOG_ERROR(logClass, L"JMethod thrown", L"javaExceptionMessage", javaText,
                  L"callingMethodName", methodName, L"callingClassName", className);
        getLogger().flush();
        throw LauncherJavaMethodInvocationException(
            LauncherException::kJni,
            L"Java exception while invoking " + className + L"." + methodName + L": " + javaText);
    }
}

void IMethodVariant::checkOutcome(JvmEnv& env, const wchar_t* logClass,
                                  const std::wstring& className, const std::wstring& methodName) {
    throwIfJavaThrew(env, logClass, className, methodName);
    LOG_INFO(logClass, L"JMethod called successfully", L"jmethod", methodName, L"class", className);
    getLogger().flush();
}
