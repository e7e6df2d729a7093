#include "jvm/JMethodCaller.h"

#include <exception>
#include <system_error>
#include <thread>
#include <utility>

#include "jvm/JvmEnv.h"
#include "platform/LauncherException.h"
#include "platform/LauncherJavaMethodInvocationException.h"
#include "platform/LauncherOsException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

namespace {
const wchar_t* const kClass = L"JMethodCaller";

bool isInstanceOf(JvmEnv& env, const JniEntity& object, const char* className) {
    JniClass cls = env.findClassOrNull(className);
    if (cls.isNull()) {
        env.exceptionClear();
        return false;
    }
    return env.getEnv()->IsInstanceOf(object.get(), cls.get()) == JNI_TRUE;
}

// The text of the OutOfMemoryError among the throwable and its causes that says a
// thread could not be started, or empty. Out of threads, the JVM fails to load a
// class that exists, because something that loading needs cannot start its thread.
std::wstring threadStartFailure(JvmEnv& env, const JniEntity& thrown) {
    JniClass throwableClass = env.findClass("java/lang/Throwable");
    JniEntity current = env.wrapObject(env.getEnv()->NewLocalRef(thrown.get()));
    for (int depth = 0; depth < 8 && !current.isNull(); ++depth) {
        if (isInstanceOf(env, current, "java/lang/OutOfMemoryError")) {
            const std::wstring message = getJavaThrowableMessage(env, current.get());
            if (message.find(L"native thread") != std::wstring::npos) {
                return message;
            }
        }
        JniEntity cause = throwableClass.wrapLocal(current.get())
                              .callObjectMethod("getCause", "()Ljava/lang/Throwable;");
        if (env.exceptionCheck()) {
            env.exceptionClear();
            break;
        }
        current = std::move(cause);
    }
    return std::wstring();
}
}  // namespace

std::wstring getJavaThrowableMessage(JvmEnv& env, jobject throwable) {
    JniClass throwableClass = env.findClass("java/lang/Throwable");
    JniObject object = throwableClass.wrapLocal(throwable);
    JniEntity message = object.callObjectMethod("getMessage", "()Ljava/lang/String;");
    if (env.exceptionCheck()) {
        env.exceptionClear();
        return L"";
    }
    if (message.isNull()) {
        return L"";
    }
    JNIEnv* jni = env.getEnv();
    const char* chars = jni->GetStringUTFChars(message.getAs<jstring>(), nullptr);
    if (chars == nullptr) {
        return L"";
    }
    std::wstring text = toWide(chars);
    jni->ReleaseStringUTFChars(message.getAs<jstring>(), chars);
    return text;
}

JMethodCaller::JMethodCaller(JavaVM* jvm, std::wstring className, const char* threadName,
                             std::vector<std::unique_ptr<IMethodVariant>> variants,
                             FinishedCallback finishedCallback, bool isStartMethod)
    : className_(std::move(className)),
      variants_(std::move(variants)),
      threadName_(threadName != nullptr ? threadName : ""),
      jvm_(jvm),
      finishedCallback_(finishedCallback),
      isStartMethod_(isStartMethod) {
    if (variants_.empty()) {
        throw LauncherException(LauncherException::kInternal, L"Empty method call variants");
    }
}

JMethodCaller::~JMethodCaller() = default;

std::future<void> JMethodCaller::start() {
    if (started_.exchange(true)) {
        LOG_ERROR(kClass, L"Cannot run JMethodCaller twice");
        throw LauncherException(LauncherException::kOs, L"Cannot run JMethodCaller twice");
    }
    {
        std::unique_ptr<JvmEnv> env = JvmEnv::attachToExistingThread(jvm_);
        prepare(*env);
    }
    dataPrepared_.store(true, std::memory_order_release);
    std::future<void> future = result_.get_future();
    try {
        std::thread([this] { run(); }).detach();
    } catch (const std::system_error& e) {
        LOG_ERROR(kClass, L"Cannot start thread", L"thread", toWide(threadName_), L"error",
                  toWide(e.code().message()));
        throw LauncherOsException(formatMessage("IDS_CANNOT_START_THREAD", toWide(threadName_),
                                                toWide(e.code().message())));
    }
    return future;
}

void JMethodCaller::prepare(JvmEnv& env) {
    JniClass cls = env.findClassOrNull(className_);
    if (cls.isNull()) {
        throwMainClassFindError(env);
    }
    classRef_ = cls.newGlobalRef();
    JniClass classClass = env.getObjectClass(cls.get());
    JniObject classObject = classClass.wrapLocal(cls.get());
    JniEntity loader = classObject.callObjectMethod("getClassLoader", "()Ljava/lang/ClassLoader;");
    if (env.exceptionCheck()) {
        env.exceptionClear();
        throw LauncherException(LauncherException::kContractClass,
                                formatMessage("IDS_CANNOT_LOAD_CLASS", className_));
    }
    classLoaderRef_ = loader.newGlobalRef();
}

void JMethodCaller::throwMainClassFindError(JvmEnv& env) {
    JniEntity thrown = env.exceptionOccurred();
    std::wstring message;
    if (thrown.isNull()) {
        message = L"Exception is NULL but the class is also NULL.";
    } else {
        // The checks below make JNI calls of their own, which a pending exception forbids.
        env.exceptionClear();
        const std::wstring noThread = threadStartFailure(env, thrown);
        if (!noThread.empty()) {
            LOG_ERROR(kClass, L"No thread for loading class", L"class", className_, L"error",
                      noThread);
            throw LauncherOsException(
                formatMessage("IDS_CANNOT_LOAD_CLASS_NO_THREAD", className_, noThread));
        }
        if (isInstanceOf(env, thrown, "java/lang/ClassFormatError")) {
            LOG_ERROR(kClass, L"Incorrect class format");
            message = formatMessage("IDS_CANNOT_LOAD_CLASS_INCORRECT_FORMAT", className_);
        } else if (isInstanceOf(env, thrown, "java/lang/NoClassDefFoundError")) {
            LOG_ERROR(kClass, L"Cannot find class: ");
            message = formatMessage("IDS_CANNOT_FIND_CLASS", className_);
        } else {
            LOG_ERROR(kClass, L"Cannot load class: ");
            message = formatMessage("IDS_CANNOT_LOAD_CLASS", className_);
        }
    }
    LOG_ERROR(kClass, L"Cannot find class", L"class", className_);
    env.exceptionClear();
    throw LauncherException(LauncherException::kContractClass, message);
}

void JMethodCaller::run() {
    // Copied first: once the promise is satisfied the owner may destroy this caller.
    FinishedCallback callback = finishedCallback_;
    bool succeeded = false;
    try {
        if (!dataPrepared_.load(std::memory_order_acquire)) {
            throw LauncherException(LauncherException::kOs,
                                    L"JMethodCaller illegal state: data was not prepared");
        }
        internalRun();
        succeeded = true;
        result_.set_value();
    } catch (const LauncherJavaMethodInvocationException& e) {
        result_.set_exception(std::make_exception_ptr(e));
    } catch (const LauncherException& e) {
        result_.set_exception(std::make_exception_ptr(e));
    } catch (const std::exception& e) {
        result_.set_exception(std::make_exception_ptr(
            LauncherException(LauncherException::kInternal, toWide(e.what()))));
    }
    if (callback != nullptr) {
        callback();
    }
    if (succeeded) {
        LOG_INFO(kClass, L"Thread finished successfully");
    } else {
        LOG_INFO(kClass, L"Thread finished exceptionally");
    }
}

void JMethodCaller::internalRun() {
    std::unique_ptr<JvmEnv> env = JvmEnv::createNewThread(jvm_, threadName_.c_str());
    env->keepGlobalRef(classRef_);
    env->keepGlobalRef(classLoaderRef_);

    {
        JniClass threadClass = env->findClass("java/lang/Thread");
        JniObject thread = env->wrapObject(
            threadClass,
            threadClass.callStaticObjectMethod("currentThread", "()Ljava/lang/Thread;"));
        JniEntity loader =
            thread.callObjectMethod("getContextClassLoader", "()Ljava/lang/ClassLoader;");
        if (loader.isNull()) {
            LOG_INFO(kClass, L"Setting ClassLoader for the thread");
            thread.callVoidMethod("setContextClassLoader", "(Ljava/lang/ClassLoader;)V",
                                  classLoaderRef_);
            if (env->exceptionCheck()) {
                JniEntity thrown = env->exceptionOccurred();
                env->exceptionClear();
                throw LauncherException(LauncherException::kJni,
                                        L"Cannot set ContextClassLoader: " +
                                            getJavaThrowableMessage(*env, thrown.get()));
            }
        }
    }

    IMethodVariant* variant = findVariant(*env, static_cast<jclass>(classRef_));
    if (variant != nullptr) {
        variant->call(*env, static_cast<jclass>(classRef_), className_);
        return;
    }
    std::wstring message;
    if (variants_.size() == 1) {
        message = L"Cannot find method " + variants_.front()->getMethodName();
    } else {
        message = L"Cannot find any method of: ";
        for (size_t i = 0; i < variants_.size(); ++i) {
            if (i > 0) {
                message += L", ";
            }
            message += variants_[i]->toString();
        }
    }
    throw LauncherException(
        isStartMethod_ ? LauncherException::kNoStartMethod : LauncherException::kNoStopMethod,
        message);
}

IMethodVariant* JMethodCaller::findVariant(JvmEnv& env, jclass classRef) {
    for (const std::unique_ptr<IMethodVariant>& variant : variants_) {
        LOG_INFO(kClass, L"Try to use variant of jmethod", L"variant", variant->toString());
        if (variant->isTargetMethodExists(env, classRef, className_)) {
            LOG_INFO(kClass, L"Going to call JMethod in a separate thread", L"variant",
                     variant->toString(), L"class", className_);
            return variant.get();
        }
        LOG_INFO(kClass, L"Unable to use variant of jmethod", L"variant", variant->toString());
    }
    return nullptr;
}

bool JMethodCaller::isTargetMethodExists() {
    std::unique_ptr<JvmEnv> env = JvmEnv::attachToExistingThread(jvm_);
    JniClass cls = env->findClassOrNull(className_);
    if (cls.isNull()) {
        env->exceptionClear();
        return false;
    }
    return findVariant(*env, cls.get()) != nullptr;
}
