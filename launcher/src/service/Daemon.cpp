#include "service/Daemon.h"

#include <atomic>
#include <chrono>
#include <exception>
#include <future>

#include "config/LauncherParameters.h"
#include "entry/LauncherVersion.h"
#include "platform/IFileLock.h"
#include "platform/LauncherException.h"
#include "platform/LauncherJavaMethodInvocationException.h"
#include "platform/LauncherOsException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"
#include "service/IService.h"
#include "service/StopRequestListener.h"

namespace {

const wchar_t* const kClass = L"Daemon";
// How much longer a service manager is asked to wait for each phase.
constexpr int32_t kWaitHintMs = 30000;

// The running service's PID file while its JVM may end the process by itself.
std::atomic<PidFile*> pidFileOfRunningJvm{nullptr};

void jvmStopCallback() {
    LOG_INFO(kClass, L"JVM exited");
    StopRequestListener::requestStop(false);
    // System.exit ends the process inside the JVM: no destructor runs after this,
    // so a PID file left now would name a process that is gone.
    if (PidFile* pidFile = pidFileOfRunningJvm.exchange(nullptr)) {
        pidFile->removePid();
    }
}

void serviceStartMethodCallback() {
    LOG_INFO(kClass, L"Java start method finished");
    StopRequestListener::requestStop(false);
}

bool isReady(const std::future<void>& result, std::chrono::seconds wait) {
    return result.wait_for(wait) == std::future_status::ready;
}

std::wstring join(const std::vector<std::wstring>& items, const wchar_t* separator) {
    std::wstring joined;
    for (size_t i = 0; i < items.size(); ++i) {
        if (i > 0) {
            joined += separator;
        }
        joined += items[i];
    }
    return joined;
}

}  // namespace

Daemon::Daemon(IOsUtilsFactory& os, const LauncherParameters& parameters, IConsole& console)
    : os_(os),
      jvm_(os, parameters.getMainClass(), parameters.getMinimalJavaVersion()),
      pidFile_(os, getFileLock(), parameters.getPidFilePath()),
      parameters_(parameters),
      console_(console) {}

Daemon::~Daemon() {
    // The JVM is gone by now, so its exit cannot be removing the file at the same time.
    pidFileOfRunningJvm.store(nullptr);
    pidFile_.removePid();
}

void Daemon::prepare(IService& service) {
    if (service.isDaemon() || parameters_.isQuiet()) {
        return;
    }
    const std::wstring& message = parameters_.getUserStartupMessage();
    if (!message.empty()) {
        console_.writeLine(message);
        return;
    }
    IProcessUtils& process = os_.getProcessUtils();
    std::wstring programName = process.getExecutablePath();
    const size_t separator = programName.find_last_of(L"\\/");
    if (separator != std::wstring::npos && separator + 1 < programName.size()) {
        programName.erase(0, separator + 1);
    }
    console_.writeLine(
        formatMessage("IDS_STARTUP_HEADER", programName, kLauncherVersion, process.getPid()));
}

int32_t Daemon::run(IService& service) {
    LOG_INFO(kClass, L"Start running service routine...");
    JavaVmManager::setJvmExitCallback(jvmStopCallback);
    service.reportStartPending(kWaitHintMs);
    // Stop signals have been held since main saw the start mode; the listener
    // created after the JVM answers them.
    pidFile_.savePid();
    // A parent waiting for the detached launcher may go now: its PID file names it.
    os_.getProcessUtils().reportDetachStage(IProcessUtils::DetachStage::kPidFileWritten);
    changeWorkingDirectoryIfNeeded();
    const std::vector<std::wstring> jvmArguments = buildJvmArguments();
    pidFileOfRunningJvm.store(&pidFile_);
    jvm_.load(jvmArguments, parameters_.getJvmLibraryPath(),
              parameters_.getJvmLibraryDependencies());
    std::shared_ptr<StopRequestListener> listener =
        StopRequestListener::create(os_.getSystemUtils());

    const std::map<std::wstring, bool> booleanProperties = {
        {L"quiet", service.isDaemon() || parameters_.isQuiet()},
        {L"daemon", service.isDaemon()},
    };
    const std::map<std::wstring, std::wstring> pathProperties = {
        {L"instance.root", parameters_.getInstanceDirectory()},
    };
    startResult_ = jvm_.start(parameters_.getMainClassArgs(), pathProperties, booleanProperties,
                              serviceStartMethodCallback);

    int32_t base = 0;
    bool stopSpawned = false;
    std::future<void> stopResult;
    // Stop requests wait here, held by the listener, until start has been entered: a
    // stop method called before it would find nothing to stop, and the start method
    // that came after would run on for ever. A start that ends without being entered
    // is never answered with a stop method.
    const bool startEntered = jvm_.waitForStartMethodEntered();
    if (startEntered) {
        LOG_INFO(kClass, L"Service start method entered");
        getLogger().flush();
    }
    while (startEntered && !stopSpawned) {
        service.markStarted();
        const int event = listener->waitForEvent();
        if (event == 0) {
            break;
        }
        const bool fast = event == 2;
        LOG_INFO(kClass, L"Got an event.", L"stopType", fast ? L"stop fast" : L"simple stop");
        if (isReady(startResult_, std::chrono::seconds(0))) {
            break;
        }
        if (service.isDaemon()) {
            base = fast ? 200 : 100;
        }
        if (!jvm_.isStopMethodExists(parameters_.getMainClassArgs(), fast)) {
            LOG_INFO(kClass, L"Service stop method not fount.");
            // The signal had no visible effect: whoever sent it looks in the log for
            // the reason now, not when later lines push it out.
            getLogger().flush();
            continue;
        }
        LOG_INFO(kClass, L"Service start method is not finished yet. Spawning stop.", L"stopType",
                 fast ? L"fast stop" : L"simple stop");
        getLogger().flush();
        service.reportStopPending(kWaitHintMs);
        stopSpawned = true;
        stopResult = callServiceStopMethodAndWaitForItsFinish(fast);
    }

    LOG_INFO(kClass, L"Wait for service.start() to finish.");
    waitForServiceStartMethodToFinish();
    LOG_INFO(kClass, L"Service start method finished.");
    getLogger().flush();

    jvm_.unload();
    service.markStopped();

    try {
        startResult_.get();
    } catch (const LauncherJavaMethodInvocationException& e) {
        throw LauncherException(base + LauncherException::kNoStartMethod, e.getMessage());
    }
    LOG_INFO(kClass, L"Service start method finished successfully.");

    if (stopSpawned) {
        try {
            stopResult.get();
        } catch (const LauncherJavaMethodInvocationException& e) {
            throw LauncherException(base + LauncherException::kNoStopMethod,
                                    L"Service stop method failed: " + e.getMessage());
        } catch (const LauncherException& e) {
            throw LauncherException(e.getCode() + base,
                                    L"Service stop method failed: " + e.getMessage());
        } catch (const std::exception& e) {
            throw LauncherException(base + LauncherException::kOs,
                                    L"Service stop method failed.: " + toWide(e.what()));
        }
        LOG_INFO(kClass, L"Service stop method finished successfully.");
        getLogger().flush();
    }
    return base;
}

void Daemon::changeWorkingDirectoryIfNeeded() {
    const std::wstring& directory = parameters_.getWorkDirectory();
    if (directory.empty()) {
        return;
    }
    os_.getProcessUtils().changeDirectory(directory);
    LOG_INFO(kClass, L"Changed current working directory", L"path", directory);
}

void Daemon::waitForServiceStartMethodToFinish() {
    for (long elapsedSec = 0;; ++elapsedSec) {
        if (isReady(startResult_, std::chrono::seconds(1))) {
            LOG_INFO(kClass, L"Service start method finished", L"elapsedSec", elapsedSec);
            getLogger().flush();
            return;
        }
        LOG_INFO(kClass, L"Service start method is still running", L"elapsedSec", elapsedSec);
        getLogger().flush();
    }
}

std::future<void> Daemon::callServiceStopMethodAndWaitForItsFinish(bool fast) {
    LOG_INFO(kClass, L"Sending stop signal to Java process", L"stopType",
             fast ? L"stopFast" : L"simple stop");
    std::future<void> stopResult;
    try {
        stopResult = jvm_.stop(parameters_.getMainClassArgs(), nullptr, fast);
    } catch (...) {
        // The stop method could not even be set going (no thread left for it, say), yet
        // the start method still runs inside the JVM: leaving here would tear the process
        // down under it. The failure becomes the stop result instead, so the JVM is waited
        // for and destroyed before it is reported.
        std::promise<void> failed;
        failed.set_exception(std::current_exception());
        stopResult = failed.get_future();
    }
    LOG_INFO(kClass, L"Waiting java-stop to complete", L"timeout", L"forever");
    for (long elapsedSec = 0;; ++elapsedSec) {
        if (isReady(stopResult, std::chrono::seconds(1))) {
            LOG_INFO(kClass, L"Java-stop finished", L"elapsedSec", elapsedSec);
            return stopResult;
        }
        LOG_INFO(kClass, L"Checking java-stop completion", L"elapsedSec", elapsedSec);
    }
}

void Daemon::stop(IService& service) {
    LOG_INFO(kClass, L"Stop signal received");
    StopRequestListener::requestStop(false);
    for (long count = 0; !startResult_.valid() || !isReady(startResult_, std::chrono::seconds(0));
         ++count) {
        os_.getProcessUtils().sleep(100);
        if (count % 100 == 0) {
            service.reportStopPending(kWaitHintMs);
            LOG_INFO(kClass, L"Stop signal is not processed still", L"count", count);
            getLogger().flush();
        }
    }
    LOG_INFO(kClass, L"Stop signal processed");
    service.markStopped();
}

void Daemon::exceptionHandler(const LauncherException& exception) {
    LOG_ERROR(kClass, exception.getMessage());
    getLogger().flush();
}

std::vector<std::wstring> Daemon::buildJvmArguments() {
    std::vector<std::wstring> arguments;
    try {
        const std::wstring& modulePath = parameters_.getModulePath();
        if (!modulePath.empty()) {
            const std::wstring resolved = resolveWildcards(modulePath);
            if (resolved.empty()) {
                throw LauncherException(LauncherException::kConfiguration,
                                        formatMessage("IDS_CANNOT_FIND_MODULE_PATH", modulePath));
            }
            arguments.push_back(L"--module-path=" + resolved);
        }
        const std::wstring& classPath = parameters_.getClassPath();
        if (!classPath.empty()) {
            const std::wstring resolved = resolveWildcards(classPath);
            if (resolved.empty()) {
                throw LauncherException(LauncherException::kConfiguration,
                                        formatMessage("IDS_CANNOT_FIND_CLASS_PATH", classPath));
            }
            arguments.push_back(L"-Djava.class.path=" + resolved);
        }
    } catch (const LauncherOsException& e) {
        throw LauncherException(LauncherException::kConfiguration, e.getMessage());
    }
    const std::vector<std::wstring>& options = parameters_.getJvmOptions();
    arguments.insert(arguments.end(), options.begin(), options.end());
    return arguments;
}

std::wstring Daemon::resolveWildcards(const std::wstring& pathList) {
    if (pathList.empty()) {
        return std::wstring();
    }
    IFileUtils& files = os_.getFileUtils();
    const wchar_t separator = files.getPathListSeparator();
    std::vector<std::wstring> masks;
    size_t start = 0;
    for (;;) {
        const size_t end = pathList.find(separator, start);
        masks.push_back(pathList.substr(start, end - start));
        if (end == std::wstring::npos) {
            break;
        }
        start = end + 1;
    }
    LOG_INFO(kClass, L"Java code base path wildcards to resolve", L"pathMasks", join(masks, L";"));

    std::wstring result;
    for (const std::wstring& entry : masks) {
        if (entry.empty()) {
            LOG_WARN(kClass, L"Skipping empty file mask");
            continue;
        }
        LOG_INFO(kClass, L"Java code base path wildcards", L"pathMask", entry);
        std::wstring mask = replaceChar(entry, L'\\', L'/');
        if (mask.size() > 1 && mask.back() == L'/') {
            mask.pop_back();
        }
        const size_t lastSlash = mask.rfind(L'/');
        const size_t firstWildcard = mask.find_first_of(L"*?");
        if (firstWildcard != std::wstring::npos && lastSlash != std::wstring::npos &&
            firstWildcard < lastSlash) {
            throw LauncherException(LauncherException::kConfiguration,
                                    formatMessage("IDS_WILDCARDS_ONLY_FOR_FILES", entry));
        }
        std::wstring directory;
        std::wstring fileMask;
        if (files.isDirectory(mask)) {
            directory = mask;
        } else if (lastSlash != std::wstring::npos) {
            // A mask right under the root keeps "/" as its directory.
            directory = lastSlash == 0 ? std::wstring(L"/") : mask.substr(0, lastSlash);
            fileMask = mask.substr(lastSlash + 1);
        } else {
            directory = L".";
            fileMask = mask;
        }
        if (!files.exists(directory)) {
            LOG_INFO(kClass, L"Directory for pattern does not exist", L"directory", directory,
                     L"pattern", entry);
            continue;
        }
        const std::vector<std::wstring> matched = files.listFiles(directory, fileMask);
        if (matched.empty()) {
            LOG_INFO(kClass, L"The mask does not match any file in the directory", L"mask",
                     fileMask);
            continue;
        }
        for (const std::wstring& file : matched) {
            LOG_INFO(kClass, L"File matched", L"filename", file);
            if (!result.empty()) {
                result += separator;
            }
            result += file;
        }
    }
    return result;
}
