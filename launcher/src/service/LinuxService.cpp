#include "service/LinuxService.h"

#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"
#include "service/IServiceObject.h"

namespace {
const wchar_t* const kClass = L"LinuxService";

std::wstring extendTimeout(int32_t waitHintMs) {
    return L"EXTEND_TIMEOUT_USEC=" + std::to_wstring(static_cast<long long>(waitHintMs) * 1000);
}
}  // namespace

LinuxService::LinuxService(IServiceObject& serviceObject, bool daemonize, bool waitForStart,
                           IOsUtilsFactory& os)
    : serviceObject_(serviceObject), daemonize_(daemonize), waitForStart_(waitForStart), os_(os) {}

LinuxService::~LinuxService() = default;

int32_t LinuxService::run() {
    logMessage(LogLevel::info(), kClass, __FILE__, __LINE__, "init", L"Starting an application");
    // The entry point registers the service it runs; a service run on its own starts
    // itself.
    LinuxService* current = dynamic_cast<LinuxService*>(getCurrentService());
    return (current != nullptr ? current : this)->start();
}

int32_t LinuxService::start() {
    if (state_.load() != kNotStarted) {
        LOG_ERROR(kClass, L"Cannot start service twice.");
        return LauncherException::kInternal;
    }
    LOG_INFO(kClass, L"starting");
    if (daemonize_) {
        // Keep the working directory and the standard streams: they may already be
        // redirected to files with --cout/--cerr. The parent stays until the detached
        // launcher can be found by its PID file, or has entered start, so that whoever
        // started it can rely on what it reports.
        getLogger().flush();
        if (!os_.getProcessUtils().detach(waitForStart_
                                              ? IProcessUtils::DetachStage::kStarted
                                              : IProcessUtils::DetachStage::kPidFileWritten)) {
            const std::wstring error = os_.getSystemUtils().getLastErrorText();
            LOG_ERROR(kClass, L"Daemon failed", L"Error", error);
            const LauncherException failure(LauncherException::kOs, error);
            serviceObject_.exceptionHandler(failure);
            state_.store(kStopped);
            return LauncherException::kOs;
        }
    }
    state_.store(kRunning);
    int32_t exitCode = 0;
    try {
        serviceObject_.prepare(*this);
        exitCode = serviceObject_.run(*this);
    } catch (const LauncherException& e) {
        if (daemonize_) {
            // The terminal is gone: the service object is the only one left to tell.
            serviceObject_.exceptionHandler(e);
            markStopped();
            LOG_ERROR(kClass, LocalizationSupport::getText("IDS_STOPPED_HEADER"), L"Error",
                      e.getMessage());
        }
        throw e;
    }
    markStopped();
    LOG_INFO(kClass, L"start finished");
    return exitCode;
}

void LinuxService::stop() {
    switch (state_.load()) {
        case kRunning:
            LOG_INFO(kClass, L"Stop requested");
            state_.store(kStopping);
            serviceObject_.stop(*this);
            LOG_INFO(kClass, L"Stop request finished");
            break;
        case kNotStarted:
            LOG_ERROR(kClass, L"Trying to stop a service that was not initialized");
            break;
        case kStopping:
        case kStopped:
            break;
        default:
            LOG_ERROR(kClass, L"Unknown state");
            break;
    }
}

void LinuxService::reportStartPending(int32_t waitHintMs) {
    notifyServiceManager(extendTimeout(waitHintMs));
}

void LinuxService::markStarted() {
    uint32_t expected = kNotStarted;
    state_.compare_exchange_strong(expected, kRunning);
    if (readyReported_.exchange(true)) {
        return;
    }
    os_.getProcessUtils().reportDetachStage(IProcessUtils::DetachStage::kStarted);
    notifyServiceManager(L"READY=1\nSTATUS=" +
                         LocalizationSupport::getText("IDS_SERVICE_STATUS_RUNNING"));
}

void LinuxService::reportStopPending(int32_t waitHintMs) {
    notifyServiceManager(L"STOPPING=1\n" + extendTimeout(waitHintMs));
}

void LinuxService::notifyServiceManager(const std::wstring& message) {
    IServiceManagerNotifier& notifier = os_.getServiceManagerNotifier();
    if (!notifier.isListening()) {
        return;
    }
    // A detached launcher is not the process the service manager started.
    notifier.notify(daemonize_
                        ? message + L"\nMAINPID=" + std::to_wstring(os_.getProcessUtils().getPid())
                        : message);
}

void LinuxService::markStopped() {
    state_.store(kStopped);
}

bool LinuxService::isDaemon() const {
    return daemonize_;
}
