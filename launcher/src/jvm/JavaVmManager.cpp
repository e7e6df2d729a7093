#include "jvm/JavaVmManager.h"

#include <atomic>
#include <stdexcept>

#include "jvm/JvmEnv.h"
#include "jvm/SingleArgumentMethodVariant.h"
#include "jvm/TwoArgumentsMethodVariant.h"
#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

namespace {
const wchar_t* const kClass = L"JavaVmManager";
const char* const kStartThreadName = "launcher-start-thread";
const char* const kStopThreadName = "launcher-stop-thread";

std::atomic<JavaVmManager::Callback> jvmExitCallback{nullptr};

using CreateJavaVm = jint(JNICALL*)(JavaVM**, void**, void*);

const wchar_t* jniResultText(jint result) {
    static const wchar_t* const kTexts[] = {
        L"success",           L"unknown error",     L"thread detached from the VM",
        L"version error",     L"not enough memory", L"VM already created",
        L"invalid arguments",
    };
    if (result > 0 || result < -6) {
        return L"#bad code#";
    }
    return kTexts[-result];
}

LauncherException cannotCall(const wchar_t* what) {
    return LauncherException(LauncherException::kJni, formatMessage("IDS_CANNOT_CALL", what));
}

void warnAboutVersionParsingError(const std::wstring& version) {
    LOG_WARN(kClass,
             L"Cannot parse java.lang.System.getProperty(java.version) result to detect JVM "
             L"version. Assuming the version is sufficient to run the application.",
             L"Version", version);
}

// The hooks may run on any JVM thread, while the rest of the launcher goes on.
void reportJvmEnd(const char* hookName, const char* messageId, const jint* exitCode) {
    // Nothing may propagate into the JVM's own exit path; losing the line is the
    // lesser harm.
    try {
        int pid = getOsUtilsFactory().getProcessUtils().getPid();
        std::wstring message = LocalizationSupport::getText(messageId);
        if (exitCode != nullptr) {
            logMessage(LogLevel::warn(), kClass, __FILE__, __LINE__, hookName, message, L"pid", pid,
                       L"exitCode", *exitCode);
        } else {
            logMessage(LogLevel::warn(), kClass, __FILE__, __LINE__, hookName, message, L"pid",
                       pid);
        }
        getLogger().flush();
    } catch (...) {
    }
    JavaVmManager::Callback callback = jvmExitCallback.load(std::memory_order_acquire);
    if (callback != nullptr) {
        callback();
    }
    shutdownLogger();
}
}  // namespace

extern "C" void JNICALL JvmSystemExitHook(jint exitCode) {
    // The exit code is reported whatever it is: 0 included.
    reportJvmEnd(__func__, "IDS_JAVA_EXIT_ABNORMALLY", &exitCode);
}

extern "C" void JNICALL JvmAbortHook() {
    reportJvmEnd(__func__, "IDS_JAVA_HALTED", nullptr);
}

JavaVmManager::JavaVmManager(IOsUtilsFactory& os, const std::wstring& className,
                             int minimalJavaVersion)
    : os_(os),
      className_(replaceChar(className, L'.', L'/')),
      minimalJavaVersion_(minimalJavaVersion) {}

JavaVmManager::~JavaVmManager() {
    startCaller_.reset();
    stopCaller_.reset();
    unload();
    jvmLibrary_.reset();
}

void JavaVmManager::setJvmExitCallback(Callback callback) {
    jvmExitCallback.store(callback, std::memory_order_release);
}

void JavaVmManager::load(const std::vector<std::wstring>& jvmArgs, const std::wstring& jvmLibPath,
                         const std::vector<std::wstring>& jvmLibDependencies) {
    if (os_.getFileUtils().getElfClass(jvmLibPath) != 1) {
        throw LauncherException(LauncherException::kConfiguration,
                                formatMessage("IDS_DLL_BAD_ARCH", jvmLibPath));
    }

    ISystemUtils& system = os_.getSystemUtils();
    for (const std::wstring& dependency : jvmLibDependencies) {
        std::shared_ptr<ILibraryHandle> handle = system.loadLibrary(dependency);
        if (handle == nullptr || handle->isNull()) {
            throw LauncherException(
                LauncherException::kJvmLoad,
                formatMessage("IDS_UNABLE_LOAD_JVM_DEP", dependency,
                              handle ? handle->getErrorText() : std::wstring()));
        }
        LOG_INFO(kClass, L"JVM library dependency loaded", L"jvmLibDependency", dependency);
    }

    std::shared_ptr<ILibraryHandle> library = system.loadLibrary(jvmLibPath);
    if (library == nullptr || library->isNull()) {
        std::wstring error = library ? library->getErrorText() : std::wstring();
        LOG_ERROR(kClass, L"Cannot load JVM library", L"os", error, L"jvmLibPath", jvmLibPath);
        throw LauncherException(LauncherException::kJvmLoad,
                                formatMessage("IDS_UNABLE_LOAD_LIBJVM", jvmLibPath, error));
    }
    jvmLibrary_ = library;
    LOG_INFO(kClass, L"JVM library loaded", L"jvmLibPath", jvmLibPath);

    auto createJavaVm = reinterpret_cast<CreateJavaVm>(jvmLibrary_->getSymbol("JNI_CreateJavaVM"));
    if (createJavaVm == nullptr) {
        LOG_ERROR(kClass, L"JVM library has no JNI_CreateJavaVM function", L"library", jvmLibPath);
        throw LauncherException(LauncherException::kJvmLoad,
                                formatMessage("IDS_LIBJVM_NO_CREATE_FN", jvmLibPath));
    }

    for (const std::wstring& arg : jvmArgs) {
        LOG_INFO(kClass, L"JVM argument", L"JVM argument", arg);
    }

    // The narrow texts must outlive the call: the options point into them.
    std::vector<std::string> narrowArgs;
    narrowArgs.reserve(jvmArgs.size());
    for (const std::wstring& arg : jvmArgs) {
        narrowArgs.push_back(toUtf8(arg));
    }
    std::vector<JavaVMOption> options(narrowArgs.size() + 2);
    for (size_t i = 0; i < narrowArgs.size(); ++i) {
        options[i].optionString = narrowArgs[i].data();
        options[i].extraInfo = nullptr;
    }
    char exitOption[] = "exit";
    char abortOption[] = "abort";
    options[narrowArgs.size()].optionString = exitOption;
    options[narrowArgs.size()].extraInfo = reinterpret_cast<void*>(&JvmSystemExitHook);
    options[narrowArgs.size() + 1].optionString = abortOption;
    options[narrowArgs.size() + 1].extraInfo = reinterpret_cast<void*>(&JvmAbortHook);

    JavaVMInitArgs initArgs;
    initArgs.version = JNI_VERSION_1_8;
    initArgs.nOptions = static_cast<jint>(options.size());
    initArgs.options = options.data();
    initArgs.ignoreUnrecognized = JNI_TRUE;

    JNIEnv* creatingEnv = nullptr;
    jint result = createJavaVm(&jvm_, reinterpret_cast<void**>(&creatingEnv), &initArgs);

    std::wstring message;
    int code = 0;
    if (result == JNI_OK) {
        LOG_INFO(kClass, L"JVM created", L"result", result);
        try {
            std::unique_ptr<JvmEnv> env = JvmEnv::fromCreatingThread(jvm_, creatingEnv);
            if (isJavaVersionSufficient(*env)) {
                return;
            }
            message = formatMessage("IDS_CANNOT_CREATE_JVM_INSTANCE_VER", minimalJavaVersion_,
                                    jvmLibPath);
            code = LauncherException::kJavaVersion;
        } catch (const LauncherException& e) {
            message = formatMessage("IDS_CANNOT_CREATE_JVM_INSTANCE", minimalJavaVersion_,
                                    jvmLibPath, result, e.getMessage());
            code = e.getCode();
        }
        creatingEnv->ExceptionClear();
        unload();
    } else {
        jvm_ = nullptr;
        if (result == JNI_EVERSION) {
            message = formatMessage("IDS_CANNOT_CREATE_JVM_INSTANCE_VER", minimalJavaVersion_,
                                    jvmLibPath);
            code = LauncherException::kJavaVersion;
        } else {
            message = formatMessage("IDS_CANNOT_CREATE_JVM_INSTANCE", minimalJavaVersion_,
                                    jvmLibPath, result, jniResultText(result));
            code = LauncherException::kJvmLoad;
        }
    }
    LOG_ERROR(kClass, message, L"jvmLibPath", jvmLibPath, L"code", result);
    throw LauncherException(code, message);
}

bool JavaVmManager::isJavaVersionSufficient(JvmEnv& env) {
    try {
        JniClass versionClass = env.findClassOrNull("java/lang/Runtime$Version");
        if (!versionClass.isNull()) {
            return checkFeatureVersion(env, versionClass);
        }
        env.exceptionClear();
        return checkJavaVersionProperty(env);
    } catch (const LauncherException& e) {
        env.exceptionClear();
        throw LauncherException(e.getCode(), e.getMessage());
    }
}

bool JavaVmManager::checkFeatureVersion(JvmEnv& env, const JniClass& versionClass) {
    JNIEnv* jni = env.getEnv();
    JniClass runtimeClass = env.findClass("java/lang/Runtime");
    jmethodID versionMethod =
        jni->GetStaticMethodID(runtimeClass.get(), "version", "()Ljava/lang/Runtime$Version;");
    if (versionMethod == nullptr || env.exceptionCheck()) {
        throw cannotCall(L"java.lang.Runtime.version()");
    }
    JniEntity version =
        env.wrapObject(jni->CallStaticObjectMethod(runtimeClass.get(), versionMethod));
    if (version.isNull() || env.exceptionCheck()) {
        throw cannotCall(L"java.lang.Runtime.Version.feature()");
    }
    jmethodID featureMethod = jni->GetMethodID(versionClass.get(), "feature", "()I");
    if (featureMethod == nullptr || env.exceptionCheck()) {
        throw cannotCall(L"java.lang.Runtime.Version.feature()");
    }
    jint feature = jni->CallIntMethod(version.get(), featureMethod);
    if (env.exceptionCheck()) {
        throw cannotCall(L"java.lang.Runtime.Version.feature()");
    }
    return minimalJavaVersion_ <= feature;
}

bool JavaVmManager::checkJavaVersionProperty(JvmEnv& env) {
    JNIEnv* jni = env.getEnv();
    JniClass systemClass = env.findClass("java/lang/System");
    JniEntity key = env.wrapObject(jni->NewStringUTF("java.version"));
    jmethodID getProperty = jni->GetStaticMethodID(systemClass.get(), "getProperty",
                                                   "(Ljava/lang/String;)Ljava/lang/String;");
    if (getProperty == nullptr || env.exceptionCheck()) {
        throw cannotCall(L"java.lang.System.getProperty()");
    }
    JniEntity value =
        env.wrapObject(jni->CallStaticObjectMethod(systemClass.get(), getProperty, key.get()));
    if (value.isNull() || env.exceptionCheck()) {
        throw cannotCall(L"java.lang.System.getProperty()");
    }
    const char* chars = jni->GetStringUTFChars(value.getAs<jstring>(), nullptr);
    if (chars == nullptr) {
        throw cannotCall(L"java.lang.System.getProperty()");
    }
    std::wstring text = toWide(chars);
    jni->ReleaseStringUTFChars(value.getAs<jstring>(), chars);
    return parseJavaVersion(text) >= minimalJavaVersion_;
}

namespace {
int parseVersionFrom(const std::wstring& version, size_t start) {
    size_t end = version.find_first_of(L".-", start);
    std::wstring piece =
        version.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start);
    try {
        size_t consumed = 0;
        int value = std::stoi(piece, &consumed, 10);
        if (consumed == piece.size()) {
            return value;
        }
    } catch (const std::logic_error&) {
        // Falls through to the warning: no digits, or out of range.
    }
    warnAboutVersionParsingError(version);
    return JavaVmManager::kUnknownJavaVersion;
}
}  // namespace

int JavaVmManager::parseJavaVersion(const std::wstring& version) {
    if (version.size() < 2) {
        warnAboutVersionParsingError(version);
        return kUnknownJavaVersion;
    }
    // The old scheme: "1.8.0_292" is Java 8.
    if (version[0] == L'1' && (version[1] == L'.' || version[1] == L'-')) {
        if (version.size() < 3) {
            warnAboutVersionParsingError(version);
            return kUnknownJavaVersion;
        }
        return parseVersionFrom(version, 2);
    }
    return parseVersionFrom(version, 0);
}

void JavaVmManager::unload() {
    if (jvm_ == nullptr) {
        return;
    }
    LOG_INFO(kClass, L"Destroying JVM.");
    getLogger().flush();
    jvm_->DestroyJavaVM();
    jvm_ = nullptr;
    if (jvmLibrary_ != nullptr) {
        jvmLibrary_->close();
        jvmLibrary_.reset();
    }
    LOG_INFO(kClass, L"JVM destroyed");
}

std::future<void> JavaVmManager::start(const std::vector<std::wstring>& args,
                                       const std::map<std::wstring, std::wstring>& pathProperties,
                                       const std::map<std::wstring, bool>& booleanProperties,
                                       Callback finishedCallback) {
    if (startCaller_ != nullptr) {
        throw LauncherException(LauncherException::kOs,
                                L"Illegal Daemon state: start() called twice");
    }
    std::vector<std::unique_ptr<IMethodVariant>> variants;
    variants.push_back(std::make_unique<TwoArgumentsMethodVariant>(L"start", args, pathProperties,
                                                                   booleanProperties));
    variants.push_back(std::make_unique<SingleArgumentMethodVariant>(L"start", args));
    startCaller_ = std::make_unique<JMethodCaller>(jvm_, className_, kStartThreadName,
                                                   std::move(variants), finishedCallback, true);
    return startCaller_->start();
}

namespace {
std::vector<std::unique_ptr<IMethodVariant>> stopVariants(const std::vector<std::wstring>& args,
                                                          bool fast) {
    std::vector<std::unique_ptr<IMethodVariant>> variants;
    variants.push_back(
        std::make_unique<SingleArgumentMethodVariant>(fast ? L"stopFast" : L"stop", args));
    return variants;
}
}  // namespace

std::future<void> JavaVmManager::stop(const std::vector<std::wstring>& args,
                                      Callback finishedCallback, bool fast) {
    if (startCaller_ == nullptr) {
        LOG_WARN(kClass, L"Attempting to stop java process while it is not started");
        std::promise<void> done;
        done.set_value();
        return done.get_future();
    }
    if (stopCaller_ != nullptr) {
        throw LauncherException(LauncherException::kOs,
                                L"Illegal Daemon state: stop() called twice");
    }
    stopCaller_ = std::make_unique<JMethodCaller>(
        jvm_, className_, kStopThreadName, stopVariants(args, fast), finishedCallback, false);
    return stopCaller_->start();
}

bool JavaVmManager::isStopMethodExists(const std::vector<std::wstring>& args, bool fast) {
    JMethodCaller probe(jvm_, className_, kStopThreadName, stopVariants(args, fast), nullptr,
                        false);
    return probe.isTargetMethodExists();
}

bool JavaVmManager::waitForStartMethodEntered() {
    return startCaller_ != nullptr && startCaller_->waitUntilEntered();
}
