#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "config/LauncherConfig.h"
#include "config/LauncherParameters.h"
#include "config/ServiceInstanceParameters.h"
#include "discovery/Inventory.h"
#include "discovery/InventoryAndEnvJavaFinder.h"
#include "discovery/JavaLibResolver.h"
#include "discovery/ReleaseFileJavaChecker.h"
#include "entry/LauncherCliArgs.h"
#include "platform/IConsole.h"
#include "platform/IFileLock.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"
#include "service/Daemon.h"
#include "service/IService.h"
#include "service/LinuxService.h"
#include "service/LinuxStopRequestClient.h"
#include "service/LinuxStopRequestListener.h"

// Every line the entry point logs names "main" as its class and its function,
// wherever in this file it is written.
#define MAIN_LOG(level, ...) logMessage(level, L"main", __FILE__, __LINE__, "main", __VA_ARGS__)

namespace {

// The reason goes to the console and, when it can be opened, to the log; a bad
// command line must never end the launcher any other way than with exit code 1.
int rejectCommandLine(const LauncherCliArgs& args, IConsole& console) {
    console.writeLine(args.getErrorText());
    try {
        initLogger(args.isLogDestinationValid() ? args.getLogPath() : std::wstring());
    } catch (const LauncherException&) {
        // The console already has the reason; a log that cannot be opened adds nothing.
    }
    MAIN_LOG(LogLevel::error(), args.getErrorText());
    shutdownLogger();
    return LauncherException::kCommandLine;
}

// Stop mode: asks the other launcher to stop; the log line goes first, before
// the request is actually sent.
int runStop(IOsUtilsFactory& os, const LauncherCliArgs& args, const LauncherParameters& parameters,
            IConsole& console) {
    const SimpleOptional<unsigned long>& timeout = parameters.getStopTimeoutMillis();
    const std::wstring timeoutText =
        timeout.hasValue() ? toText(timeout.value()) : std::wstring(L"IsNotSet");
    MAIN_LOG(LogLevel::info(), LocalizationSupport::getText("IDS_ANOTHER_ASKED_TO_STOP"),
             L"pidToStop", parameters.getPidToStop(), L"timeoutMillis", timeoutText);
    LinuxStopRequestClient client(os, getFileLock(), parameters.getPidToStop());
    return client.stopAndReport(parameters.getPidFilePath(), args.getPidToStop() <= 0, timeout,
                                parameters.isFast(), console);
}

int runStart(IOsUtilsFactory& os, const LauncherCliArgs& args, const LauncherParameters& parameters,
             IConsole& console) {
    if (!parameters.getPidFilePath().empty()) {
        StopRequestClient::checkClientLauncherIsNotRunning(os, getFileLock(),
                                                           parameters.getPidFilePath());
    }
    if (parameters.getSigterm() != L"jvm") {
        // From here on, before the JVM that would otherwise end the process on it.
        LinuxStopRequestListener::takeSigterm(os.getSystemUtils(),
                                              parameters.getSigterm() == L"fast");
    }
    Daemon daemon(os, parameters, console);
    LinuxService service(daemon, args.isDaemon(), args.isWait(), os);
    setCurrentService(&service);
    return service.run();
}

// A launcher.yml that cannot be read ends the run before anything else is
// merged; its reason goes to the console only, the log gets the arguments.
int rejectConfiguration(const std::wstring& startupTime, const LauncherCliArgs& args,
                        const LauncherConfig& config, IConsole& console) {
    console.writeLine(config.getErrorText());
    initLogger(args.getLogPath());
    MAIN_LOG(LogLevel::info(), L"Launcher started", L"time", startupTime);
    args.logRawArgs();
    args.logState();
    shutdownLogger();
    return config.getErrorCode();
}

// The Java-finding chain lives only while the parameters are merged: the
// inventory library is unloaded again before the JVM is.
std::unique_ptr<LauncherParameters> mergeParameters(IOsUtilsFactory& os, IConsole& console,
                                                    const LauncherCliArgs& args,
                                                    const LauncherConfig& config,
                                                    const IServiceInstanceParameters& service) {
    Inventory inventory(os, os.getProcessUtils().getExecutableDirectory() + L"/libinventory.so");
    ReleaseFileJavaChecker checker(os);
    InventoryAndEnvJavaFinder finder(os, inventory, checker, console);
    JavaLibResolver resolver(os);
    return std::make_unique<LauncherParameters>(os, console, args, config, service, finder,
                                                resolver);
}

int runStartOrStop(IOsUtilsFactory& os, const std::wstring& startupTime,
                   const LauncherCliArgs& args, IConsole& console) {
    const LauncherConfig config =
        LauncherConfig::readLauncherConfig(os, args.getInstanceDirectory(), args.isStart());
    if (config.hasError()) {
        return rejectConfiguration(startupTime, args, config, console);
    }
    std::wstring serviceName = args.getServiceName();
    if (serviceName.empty() && config.getServiceName().hasValue()) {
        serviceName = config.getServiceName().value();
    }
    ServiceInstanceParameters service(os, serviceName);
    service.read();
    const std::unique_ptr<LauncherParameters> parameters =
        mergeParameters(os, console, args, config, service);

    initLogger(parameters->getLogFilePath());
    MAIN_LOG(LogLevel::info(), L"Launcher started.", L"time", startupTime);
    getLogger().flush();
    args.logRawArgs();
    args.logState();
    config.logState(getLogger());
    service.logState(getLogger());
    parameters->logState(getLogger());

    if (parameters->hasMessage()) {
        console.writeLine(parameters->getMessageText());
        shutdownLogger();
        return parameters->getExitCode();
    }

    int exitCode = 0;
    if (args.isStop()) {
        exitCode = runStop(os, args, *parameters, console);
    } else if (args.isStart()) {
        exitCode = runStart(os, args, *parameters, console);
    }
    MAIN_LOG(LogLevel::info(), LocalizationSupport::getText("IDS_NORMAL_EXIT"), L"exitCode",
             exitCode);
    shutdownLogger();
    return exitCode;
}

}  // namespace

int main(int argc, char** argv) {
    IOsUtilsFactory& os = getOsUtilsFactory();
    if (argc > 1 && std::strcmp(argv[1], "start") == 0) {
        // Whoever started us knows our PID at once (a shell's $!, a service manager):
        // from here on a stop signal is held for the service instead of killing us
        // before it runs. The first word alone names the mode; the full parse comes later.
        LinuxStopRequestListener::holdEarlyRequests(os.getSystemUtils());
    }
    const std::wstring startupTime = os.getSystemUtils().getCurrentTimeText();
    LocalizationSupport localization(os.getSystemUtils());
    const std::vector<std::wstring> rawArgs = os.getProcessUtils().getCommandLineArgs();
    const std::shared_ptr<LauncherCliArgs> args = LauncherCliArgs::create(os, rawArgs);
    if (args->isVersion() || args->isUsage()) {
        return 0;
    }
    const std::shared_ptr<IConsole> console = args->createConsole();
    if (args->isError()) {
        return rejectCommandLine(*args, *console);
    }

    try {
        return runStartOrStop(os, startupTime, *args, *console);
    } catch (const LauncherException& e) {
        MAIN_LOG(LogLevel::error(), e.getMessage(), L"exitCode", e.getCode());
        console->writeErrorLine(e.getMessage());
        shutdownLogger();
        return e.getCode();
    } catch (const std::exception& e) {
        const std::wstring message = toWide(e.what());
        MAIN_LOG(LogLevel::error(), message, L"exitCode", LauncherException::kInternal);
        console->writeErrorLine(message);
        shutdownLogger();
        return LauncherException::kInternal;
    }
}
