#include "jvm/JniClass.h"

#include <cstdarg>
#include <cstdint>
#include <utility>

#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

JniClass::JniClass(JNIEnv* env, jclass clazz, std::string name)
    : env_(env), clazz_(clazz), name_(std::move(name)) {}

JniClass::~JniClass() {
    if (env_ != nullptr) {
        env_->DeleteLocalRef(clazz_);
    }
}

JniClass::JniClass(JniClass&& other) noexcept
    : env_(other.env_),
      clazz_(std::exchange(other.clazz_, nullptr)),
      name_(std::move(other.name_)) {}

JniClass& JniClass::operator=(JniClass&& other) noexcept {
    if (this != &other) {
        if (env_ != nullptr && clazz_ != nullptr) {
            env_->DeleteLocalRef(clazz_);
        }
        env_ = other.env_;
        clazz_ = std::exchange(other.clazz_, nullptr);
        name_ = std::move(other.name_);
    }
    return *this;
}

bool JniClass::isNull() const {
    return clazz_ == nullptr;
}

jclass JniClass::get() const {
    return clazz_;
}

const char* JniClass::getName() const {
    return name_.c_str();
}

jobject JniClass::newGlobalRef() const {
    return env_->NewGlobalRef(clazz_);
}

JniObject JniClass::wrapLocal(jobject object) const {
    return JniObject(env_, env_->NewLocalRef(object), this);
}

void JniClass::throwMissingMethod(const std::wstring& name) const {
    throw LauncherException(LauncherException::kJni,
                            formatMessage("IDS_CANNOT_FIND_JMETHOD", name, toWide(name_)));
}

jmethodID JniClass::lookUpStatic(const char* name, const std::wstring& nameForMessage,
                                 const char* signature) const {
    // A lookup with an exception already pending is not allowed by JNI, and would
    // fail the same way after it.
    jmethodID method =
        env_->ExceptionCheck() ? nullptr : env_->GetStaticMethodID(clazz_, name, signature);
    if (method == nullptr || env_->ExceptionCheck()) {
        throwMissingMethod(nameForMessage);
    }
    return method;
}

JniEntity JniClass::callStaticObjectMethod(const char* name, const char* signature, ...) const {
    jmethodID method = lookUpStatic(name, toWide(name), signature);
    va_list args;
    va_start(args, signature);
    jobject result = env_->CallStaticObjectMethodV(clazz_, method, args);
    va_end(args);
    return JniEntity(env_, result);
}

void JniClass::callStaticVoidMethod(const char* name, const char* signature, ...) const {
    jmethodID method = lookUpStatic(name, toWide(name), signature);
    va_list args;
    va_start(args, signature);
    env_->CallStaticVoidMethodV(clazz_, method, args);
    va_end(args);
}

void JniClass::callStaticVoidMethod(const std::wstring& name, const char* signature, ...) const {
    jmethodID method = lookUpStatic(toUtf8(name).c_str(), name, signature);
    va_list args;
    va_start(args, signature);
    env_->CallStaticVoidMethodV(clazz_, method, args);
    va_end(args);
}

JniEntity JniClass::newObject() const {
    jmethodID init = env_->ExceptionCheck() ? nullptr : env_->GetMethodID(clazz_, "<init>", "()V");
    if (init == nullptr || env_->ExceptionCheck()) {
        throwMissingMethod(L"<init>");
    }
    return JniEntity(env_, env_->NewObject(clazz_, init));
}

JniEntity JniClass::getStaticObjectField(const char* name, const char* signature) const {
    jfieldID field =
        env_->ExceptionCheck() ? nullptr : env_->GetStaticFieldID(clazz_, name, signature);
    if (field == nullptr || env_->ExceptionCheck()) {
        // No catalogue has a text for this id, so the message is the id itself;
        // the class reference goes in as a number so it is never read as a text.
        throw LauncherException(
            LauncherException::kJni,
            formatMessage("IDS_CANNOT_FIND_JFIELD", toWide(name),
                          static_cast<long long>(reinterpret_cast<std::intptr_t>(clazz_))));
    }
    return JniEntity(env_, env_->GetStaticObjectField(clazz_, field));
}

bool JniClass::isStaticMethodExists(const std::wstring& name, const char* signature) const {
    jmethodID method = env_->GetStaticMethodID(clazz_, toUtf8(name).c_str(), signature);
    if (env_->ExceptionCheck()) {
        env_->ExceptionClear();
    }
    return method != nullptr;
}
