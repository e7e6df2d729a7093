#include "jvm/JMethodCaller.h"

#include <chrono>
#include <exception>
#include <thread>
#include <utility>

#include "jvm/JvmEnv.h"
#include "platform/LauncherException.h"
#include "platform/LauncherJavaMethodInvocationException.h"
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
    std::thread([this] { run(); }).detach();
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
    std::exception_ptr failure;
    try {
        if (!dataPrepared_.load(std::memory_order_acquire)) {
            throw LauncherException(LauncherException::kOs,
                                    L"JMethodCaller illegal state: data was not prepared");
        }
        internalRun();
    } catch (const LauncherJavaMethodInvocationException& e) {
        failure = std::make_exception_ptr(e);
    } catch (const LauncherException& e) {
        failure = std::make_exception_ptr(e);
    } catch (const std::exception& e) {
        failure = std::make_exception_ptr(
            LauncherException(LauncherException::kInternal, toWide(e.what())));
    }
    setProgress(Progress::kEnded);
    if (failure) {
        result_.set_exception(failure);
    } else {
        result_.set_value();
    }
    if (callback != nullptr) {
        callback();
    }
    if (!failure) {
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
        variant->call(*env, static_cast<jclass>(classRef_), className_, [&] {
            JniClass threadClass = env->findClass("java/lang/Thread");
            JniEntity thread =
                threadClass.callStaticObjectMethod("currentThread", "()Ljava/lang/Thread;");
            // Without the thread the entry cannot be seen; it is then taken as made.
            const bool known = !env->exceptionCheck() && !thread.isNull();
            env->exceptionClear();
            setProgress(Progress::kCalling, known ? thread.newGlobalRef() : nullptr);
        });
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

void JMethodCaller::setProgress(Progress progress, jobject thread) {
    {
        std::lock_guard<std::mutex> lock(progressMutex_);
        if (progress == Progress::kCalling) {
            calledMethod_ = true;
            callingThread_ = thread;
        }
        progress_ = progress;
    }
    progressChanged_.notify_all();
}

bool JMethodCaller::waitUntilEntered() {
    std::unique_lock<std::mutex> lock(progressMutex_);
    progressChanged_.wait(lock, [this] { return progress_ != Progress::kPreparing; });
    if (!calledMethod_) {
        return false;
    }
    jobject thread = callingThread_;
    callingThread_ = nullptr;
    std::unique_ptr<JvmEnv> env = JvmEnv::attachToExistingThread(jvm_);
    // The frame comes within microseconds of the JNI call; the method's first steps
    // (resolving what its first statements use, say) may take longer, and a stop
    // method called meanwhile would still come before them. So the method counts as
    // entered once the thread blocks or waits inside it, or after a few milliseconds.
    constexpr auto kFirstSteps = std::chrono::milliseconds(5);
    std::chrono::steady_clock::time_point frameSeen{};
    bool seen = false;
    while (progress_ == Progress::kCalling) {
        lock.unlock();
        const FrameState state = probe(*env, thread, seen);
        lock.lock();
        if (state != FrameState::kAbsent && !seen) {
            seen = true;
            frameSeen = std::chrono::steady_clock::now();
        }
        if (state == FrameState::kSettled ||
            (seen && std::chrono::steady_clock::now() - frameSeen >= kFirstSteps)) {
            break;
        }
        progressChanged_.wait_for(lock, std::chrono::microseconds(200));
    }
    if (thread != nullptr) {
        env->getEnv()->DeleteGlobalRef(thread);
    }
    return true;
}

namespace {
// The text a no-argument String getter returns; empty when there is none.
std::string callTextGetter(JvmEnv& env, const JniObject& object, const char* getter) {
    JNIEnv* jni = env.getEnv();
    JniEntity text = object.callObjectMethod(getter, "()Ljava/lang/String;");
    std::string value;
    if (env.exceptionCheck()) {
        env.exceptionClear();
    } else if (!text.isNull()) {
        const char* chars = jni->GetStringUTFChars(text.getAs<jstring>(), nullptr);
        if (chars != nullptr) {
            value = chars;
            jni->ReleaseStringUTFChars(text.getAs<jstring>(), chars);
        }
    }
    return value;
}
}  // namespace

JMethodCaller::FrameState JMethodCaller::probe(JvmEnv& env, jobject thread, bool frameKnown) {
    if (thread == nullptr) {
        return FrameState::kSettled;
    }
    JNIEnv* jni = env.getEnv();
    try {
        JniClass threadClass = env.findClass("java/lang/Thread");
        JniObject threadObject = threadClass.wrapLocal(thread);
        if (!frameKnown) {
            const std::string methodName = toUtf8(variants_.front()->getMethodName());
            const std::string className = toUtf8(replaceChar(className_, L'/', L'.'));
            JniEntity frames =
                threadObject.callObjectMethod("getStackTrace", "()[Ljava/lang/StackTraceElement;");
            if (env.exceptionCheck() || frames.isNull()) {
                env.exceptionClear();
                return FrameState::kSettled;
            }
            JniClass elementClass = env.findClass("java/lang/StackTraceElement");
            const jsize count = jni->GetArrayLength(frames.getAs<jobjectArray>());
            bool found = false;
            // The method is at the bottom of the stack, below whatever it calls.
            for (jsize i = count - 1; i >= 0 && !found; --i) {
                JniObject frame = env.wrapObject(
                    elementClass,
                    env.wrapObject(jni->GetObjectArrayElement(frames.getAs<jobjectArray>(), i)));
                found = !frame.isNull() &&
                        callTextGetter(env, frame, "getMethodName") == methodName &&
                        callTextGetter(env, frame, "getClassName") == className;
            }
            if (!found) {
                return FrameState::kAbsent;
            }
        }
        JniClass stateClass = env.findClass("java/lang/Thread$State");
        JniObject state = env.wrapObject(
            stateClass, threadObject.callObjectMethod("getState", "()Ljava/lang/Thread$State;"));
        if (env.exceptionCheck() || state.isNull()) {
            env.exceptionClear();
            return FrameState::kSettled;
        }
        return callTextGetter(env, state, "name") == "RUNNABLE" ? FrameState::kRunning
                                                                : FrameState::kSettled;
    } catch (const LauncherException&) {
        env.exceptionClear();
        return FrameState::kSettled;
    }
}
