#include "jvm/JvmEnv.h"

#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

namespace {
const wchar_t* const kClass = L"JvmEnv";

LauncherException cannotAttach() {
    return LauncherException(
        LauncherException::kJni,
        LocalizationSupport::getText("IDS_CANNOT_ATTACH_NATIVE_THREAD_TO_JVM_THREAD"));
}

void checkJvm(JavaVM* jvm) {
    if (jvm == nullptr) {
        throw LauncherException(LauncherException::kOs,
                                L"JvmEnv illegal state: jvm must not be null");
    }
}
}  // namespace

JvmEnv::JvmEnv(JavaVM* jvm, JNIEnv* env, bool detachOnDestroy)
    : jvm_(jvm), env_(env), detachOnDestroy_(detachOnDestroy) {}

JvmEnv::~JvmEnv() {
    for (jobject ref : globalRefs_) {
        env_->DeleteGlobalRef(ref);
    }
    if (detachOnDestroy_) {
        jvm_->DetachCurrentThread();
    }
}

std::unique_ptr<JvmEnv> JvmEnv::createNewThread(JavaVM* jvm, const char* threadName) {
    if (threadName == nullptr) {
        throw LauncherException(
            LauncherException::kInternal,
            L"Illegal argument: must create calling thread with a nonnull name");
    }
    checkJvm(jvm);
    return attachThreadToJvmThread(jvm, threadName);
}

std::unique_ptr<JvmEnv> JvmEnv::attachToExistingThread(JavaVM* jvm) {
    checkJvm(jvm);
    return attachThreadToJvmThread(jvm, nullptr);
}

std::unique_ptr<JvmEnv> JvmEnv::fromCreatingThread(JavaVM* jvm, JNIEnv* env) {
    return std::unique_ptr<JvmEnv>(new JvmEnv(jvm, env, false));
}

std::unique_ptr<JvmEnv> JvmEnv::attachThreadToJvmThread(JavaVM* jvm, const char* threadName) {
    void* env = nullptr;
    jint status = jvm->GetEnv(&env, JNI_VERSION_1_8);
    if (status == JNI_EVERSION) {
        LOG_ERROR(kClass, L"Cannot attache native thread to JVM thread. Version error.");
        throw cannotAttach();
    }
    if (status == JNI_EDETACHED) {
        if (threadName == nullptr) {
            throw LauncherException(LauncherException::kOs,
                                    L"Illegal thread state: JvmEnv::attachToExistingThread() was "
                                    L"called but current thread is detached from a JVM thread");
        }
        JavaVMAttachArgs attachArgs;
        attachArgs.version = JNI_VERSION_1_8;
        attachArgs.name = const_cast<char*>(threadName);
        attachArgs.group = nullptr;
        if (jvm->AttachCurrentThread(&env, &attachArgs) != JNI_OK) {
            LOG_ERROR(kClass, L"Cannot attache native thread to JVM thread. Detached.");
            throw cannotAttach();
        }
        return std::unique_ptr<JvmEnv>(new JvmEnv(jvm, static_cast<JNIEnv*>(env), true));
    }
    if (threadName != nullptr) {
        throw LauncherException(LauncherException::kOs,
                                L"Illegal thread state: JvmEnv::createNewThread() was called but "
                                L"current thread is already attached to a JVM thread");
    }
    return std::unique_ptr<JvmEnv>(new JvmEnv(jvm, static_cast<JNIEnv*>(env), false));
}

JniClass JvmEnv::findClass(const char* name) {
    JniClass cls = findClassOrNull(name);
    if (cls.isNull()) {
        throw LauncherException(LauncherException::kJni,
                                formatMessage("IDS_CANNOT_FIND_CLASS", toWide(name)));
    }
    return cls;
}

JniClass JvmEnv::findClassOrNull(const char* name) {
    return JniClass(env_, env_->FindClass(name), name);
}

JniClass JvmEnv::findClassOrNull(const std::wstring& name) {
    return findClassOrNull(toUtf8(name).c_str());
}

JniClass JvmEnv::classFromObject(jobject ref, const std::wstring& name) {
    if (ref == nullptr) {
        throw LauncherException(
            LauncherException::kInternal,
            L"Illegal Argument: JniClass cannot be constructed with a null givenClass");
    }
    return JniClass(env_, static_cast<jclass>(env_->NewLocalRef(ref)), toUtf8(name));
}

JniClass JvmEnv::getObjectClass(jobject object) {
    return JniClass(env_, env_->GetObjectClass(object), "java/lang/Class");
}

JniEntity JvmEnv::wrapObject(jobject ref) {
    return JniEntity(env_, ref);
}

JniObject JvmEnv::wrapObject(const JniClass& cls, JniEntity&& entity) {
    return JniObject(env_, entity.release(), &cls);
}

JniEntity JvmEnv::exceptionOccurred() {
    return JniEntity(env_, env_->ExceptionOccurred());
}

bool JvmEnv::exceptionCheck() {
    return env_->ExceptionCheck() == JNI_TRUE;
}

void JvmEnv::exceptionClear() {
    env_->ExceptionClear();
}

void JvmEnv::keepGlobalRef(jobject ref) {
    globalRefs_.push_back(ref);
}
