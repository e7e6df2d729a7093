#include "jvm/JniObject.h"

#include <cstdarg>

#include "jvm/JniClass.h"
#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

JniObject::JniObject(JNIEnv* env, jobject ref, const JniClass* cls)
    : JniEntity(env, ref), cls_(cls) {}

jmethodID JniObject::lookUp(const char* name, const char* signature) const {
    // A lookup with an exception already pending is not allowed by JNI, and would
    // fail the same way after it.
    jmethodID method =
        env_->ExceptionCheck() ? nullptr : env_->GetMethodID(cls_->get(), name, signature);
    if (method == nullptr || env_->ExceptionCheck()) {
        throw LauncherException(
            LauncherException::kJni,
            formatMessage("IDS_CANNOT_FIND_JMETHOD", toWide(name), toWide(cls_->getName())));
    }
    return method;
}

JniEntity JniObject::callObjectMethod(const char* name, const char* signature, ...) const {
    jmethodID method = lookUp(name, signature);
    va_list args;
    va_start(args, signature);
    jobject result = env_->CallObjectMethodV(ref_, method, args);
    va_end(args);
    return JniEntity(env_, result);
}

jint JniObject::callIntMethod(const char* name, const char* signature, ...) const {
    jmethodID method = lookUp(name, signature);
    va_list args;
    va_start(args, signature);
    jint result = env_->CallIntMethodV(ref_, method, args);
    va_end(args);
    return result;
}

void JniObject::callVoidMethod(const char* name, const char* signature, ...) const {
    jmethodID method = lookUp(name, signature);
    va_list args;
    va_start(args, signature);
    env_->CallVoidMethodV(ref_, method, args);
    va_end(args);
}
