#include "config/LauncherParameters.h"

#include <cwctype>
#include <memory>

#include "config/IServiceInstanceParameters.h"
#include "config/LauncherConfig.h"
#include "discovery/IJavaFinder.h"
#include "discovery/IJavaLibResolver.h"
#include "entry/LauncherCliArgs.h"
#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"

namespace {

const wchar_t* const kClassName = L"LauncherParameters";

// The longest PID file accepted here: ten digits hold any PID.
constexpr size_t kMaxPidFileSize = 10;

template <typename T>
T firstOf(const SimpleOptional<T>& configured, const T& given) {
    return given.empty() && configured.hasValue() ? configured.value() : given;
}

std::vector<std::wstring> splitAtWhiteSpace(const std::wstring& text) {
    std::vector<std::wstring> words;
    std::wstring word;
    for (wchar_t c : text) {
        if (std::iswspace(c)) {
            if (!word.empty()) {
                words.push_back(word);
                word.clear();
            }
        } else {
            word.push_back(c);
        }
    }
    if (!word.empty()) {
        words.push_back(word);
    }
    return words;
}

}  // namespace

LauncherParameters::LauncherParameters(IOsUtilsFactory& os, IConsole&, const LauncherCliArgs& args,
                                       const LauncherConfig& config,
                                       const IServiceInstanceParameters& service,
                                       IJavaFinder& finder, IJavaLibResolver& resolver) {
    start_ = args.isStart();
    quiet_ = args.isQuiet() || config.isQuiet();
    pidFilePath_ = firstOf(config.getPidFile(), args.getPidFilePath());
    logFilePath_ = firstOf(config.getLogFile(), args.getLogPath());
    if (args.isStop()) {
        mergeStop(os, args);
    } else if (args.isStart()) {
        mergeStart(os, args, config, service, finder, resolver);
    }
}

void LauncherParameters::mergeStop(IOsUtilsFactory& os, const LauncherCliArgs& args) {
    stopTimeoutMillis_ = args.getStopTimeoutMillis();
    fast_ = args.isFast();
    if (!args.getInstanceDirectory().empty()) {
        fail(LauncherException::kCommandLine,
             LocalizationSupport::getText("IDS_INSTANCE_IN_STOP_MODE"));
    }
    pidToStop_ = args.getPidToStop();
    const bool pidGiven = pidToStop_ > 0;
    const bool fileGiven = !args.getPidFilePath().empty();
    if (!pidGiven && !fileGiven) {
        fail(LauncherException::kCommandLine,
             formatMessage("IDS_NONE_OF_2OPTIONS_ARE_SET", L"--pid", L"--pidfile"));
    } else if (pidGiven && fileGiven) {
        fail(LauncherException::kCommandLine,
             formatMessage("IDS_OPTS_MUT_EX_MET", L"--pid", L"--pidfile"));
    } else if (!pidGiven) {
        readPidFromFile(os);
    }
}

void LauncherParameters::readPidFromFile(IOsUtilsFactory& os) {
    // A missing or unreadable file is not a problem of the command line; its
    // exception reaches the entry point.
    std::unique_ptr<FileContent> content = os.getFileUtils().readFile(pidFilePath_);
    pidToStop_ = -1;
    if (content->empty()) {
        fail(LauncherException::kPidFile, formatMessage("IDS_PIDFILE_ZEROSIZE", pidFilePath_));
        return;
    }
    if (content->size() > kMaxPidFileSize) {
        fail(LauncherException::kPidFile, formatMessage("IDS_PIDFILE_EXTRACHARS", pidFilePath_));
        return;
    }
    long long pid = 0;
    for (size_t i = 0; i < content->size() && content->data()[i] != '\0'; ++i) {
        const char c = content->data()[i];
        if (c < '0' || c > '9') {
            fail(LauncherException::kPidFile, formatMessage("IDS_PIDFILE_BAD_CHARS", pidFilePath_));
            return;
        }
        pid = pid * 10 + (c - '0');
    }
    if (pid > 0x7FFFFFFF) {
        fail(LauncherException::kPidFile, formatMessage("IDS_PIDFILE_BAD_CHARS", pidFilePath_));
        return;
    }
    pidToStop_ = static_cast<int>(pid);
}

void LauncherParameters::mergeStart(IOsUtilsFactory& os, const LauncherCliArgs& args,
                                    const LauncherConfig& config,
                                    const IServiceInstanceParameters& service, IJavaFinder& finder,
                                    IJavaLibResolver& resolver) {
    daemon_ = args.isDaemon();
    sigterm_ = args.getSigterm().empty() && config.getSigterm().hasValue()
                   ? config.getSigterm().value()
                   : (args.getSigterm().empty() ? std::wstring(L"jvm") : args.getSigterm());
    instanceDirectory_ = args.getInstanceDirectory();
    workDirectory_ = firstOf(config.getWorkDir(), args.getWorkDirectory());
    classPath_ = firstOf(config.getClassPath(), args.getClassPath());
    modulePath_ = firstOf(config.getModulePath(), args.getModulePath());
    mainClass_ = firstOf(config.getMainClass(), args.getContractClass());
    minimalJavaVersion_ = config.getMinimalJavaVersion();

    mainClassArgs_ = config.getMainClassArgs();
    mainClassArgs_.insert(mainClassArgs_.end(), args.getMainClassArgs().begin(),
                          args.getMainClassArgs().end());
    gatherJvmOptions(os, args, config, service);
    chooseBanner(os, config);

    if (classPath_.empty() && modulePath_.empty()) {
        fail(LauncherException::kCommandLine,
             LocalizationSupport::getText("IDS_CLASS_AND_MODULE_PATHS_ARE_EMPTY"));
    }
    if (mainClass_.empty()) {
        fail(LauncherException::kCommandLine,
             formatMessage("IDS_OPTION_WITHOUT_VALUE", L"--jifaceclass"));
    }
    chooseJvmLibrary(args, config, service, finder, resolver);
}

void LauncherParameters::chooseJvmLibrary(const LauncherCliArgs& args, const LauncherConfig& config,
                                          const IServiceInstanceParameters& service,
                                          IJavaFinder& finder, IJavaLibResolver& resolver) {
    if (!args.getJavaHome().empty() && !args.getJvmLibrary().empty()) {
        fail(LauncherException::kCommandLine,
             formatMessage("IDS_OPTS_MUT_EX_MET", L"--javahome", L"--jvmdll"));
        return;
    }
    if (!args.getJvmLibrary().empty()) {
        jvmLibraryPath_ = args.getJvmLibrary();
        return;
    }
    javaHome_ = args.getJavaHome();
    if (javaHome_.empty() && config.getJavaHome().hasValue()) {
        javaHome_ = config.getJavaHome().value();
    }
    if (javaHome_.empty() && service.getJavaHome().hasValue()) {
        javaHome_ = service.getJavaHome().value();
    }
    if (javaHome_.empty()) {
        // The guess is the slow part of the merge, so it runs only when nothing
        // names a Java home.
        FoundJavaHome found = finder.findJavaHome(minimalJavaVersion_);
        if (found.javaHome.empty()) {
            fail(LauncherException::kJvmLoad,
                 LocalizationSupport::getText("IDS_CANNOT_GUESS_JAVAHOME"));
            return;
        }
        javaHome_ = found.javaHome;
        if (found.fromEnvironment) {
            std::wstring text = LocalizationSupport::getText("IDS_JAVA_HOME_FROM_SYSENV");
            appendLogPair(text, true, L"JAVA_HOME", javaHome_);
            note(LogLevel::info(), text);
        }
    }
    try {
        jvmLibraryPath_ = resolver.findJvmLibrary(javaHome_);
        jvmLibraryDependencies_ = resolver.getExtraLibraries(javaHome_);
    } catch (const LauncherException& e) {
        fail(e.getCode(), e.getMessage());
    }
}

void LauncherParameters::gatherJvmOptions(IOsUtilsFactory& os, const LauncherCliArgs& args,
                                          const LauncherConfig& config,
                                          const IServiceInstanceParameters& service) {
    jvmOptions_ = config.getJvmOpts();
    jvmOptions_.insert(jvmOptions_.end(), service.getJvmOptions().begin(),
                       service.getJvmOptions().end());
    const std::wstring fromEnvironment = os.getProcessUtils().getEnv(L"JVM_OPTS");
    const std::vector<std::wstring> words = splitAtWhiteSpace(fromEnvironment);
    if (words.empty()) {
        note(LogLevel::info(), L"JVM_OPTS environment variable is not defined or empty");
    } else {
        std::wstring text = L"Adding JVM_OPTS to JVM arguments";
        appendLogPair(text, true, L"JVM_OPTS", fromEnvironment);
        note(LogLevel::info(), text);
        jvmOptions_.insert(jvmOptions_.end(), words.begin(), words.end());
    }
    jvmOptions_.insert(jvmOptions_.end(), args.getJvmOptions().begin(), args.getJvmOptions().end());
}

void LauncherParameters::chooseBanner(IOsUtilsFactory& os, const LauncherConfig& config) {
    const std::map<std::wstring, std::wstring>& banners = config.getBanners();
    if (banners.empty()) {
        return;
    }
    std::vector<std::wstring> keys;
    const std::wstring explicitLanguage = languageFromJvmOptions(jvmOptions_);
    if (!explicitLanguage.empty()) {
        std::wstring text = L"Language is explicitly set using JvmOpts";
        appendLogPair(text, true, L"language", explicitLanguage);
        note(LogLevel::info(), text);
        keys.push_back(explicitLanguage);
    }
    ISystemUtils& system = os.getSystemUtils();
    keys.push_back(system.getLocaleName());
    keys.push_back(system.getLanguage());
    keys.push_back(L"default");
    for (const std::wstring& key : keys) {
        auto found = banners.find(key);
        if (found != banners.end()) {
            userStartupMessage_ = found->second;
            return;
        }
    }
}

void LauncherParameters::fail(int exitCode, const std::wstring& message) {
    if (!messageText_.empty()) {
        messageText_ += L'\n';
    }
    messageText_ += message;
    if (exitCode_ == 0) {
        exitCode_ = exitCode;
    }
    std::wstring text = L"Launch configuration failure.";
    appendLogPair(text, true, L"message", message);
    appendLogPair(text, false, L"exitCode", toText(static_cast<long>(exitCode)));
    note(LogLevel::error(), text);
}

void LauncherParameters::note(const std::wstring& level, const std::wstring& message) {
    notes_.push_back(Note{&level, message});
}

void LauncherParameters::logState(ILogger& logger) const {
    for (const Note& entry : notes_) {
        logTo(logger, *entry.level, kClassName, __FILE__, __LINE__, "LauncherParameters",
              entry.message);
    }
    if (start_) {
        LOG_INFO_TO(logger, kClassName, L"Launch parameters:", L"mainClass", mainClass_,
                    L"classPath", classPath_, L"modulePath", modulePath_, L"javaHome", javaHome_,
                    L"jvmLibrary", jvmLibraryPath_, L"minimalJavaVersion", minimalJavaVersion_,
                    L"workDir", workDirectory_, L"pidFile", pidFilePath_, L"logFile", logFilePath_,
                    L"instance", instanceDirectory_, L"daemon", daemon_, L"quiet", quiet_,
                    L"sigterm", sigterm_);
        LOG_INFO_TO(logger, kClassName, L"JVM options:", L"options", jvmOptions_);
        LOG_INFO_TO(logger, kClassName, L"main class arguments:", L"options", mainClassArgs_);
    } else {
        const std::wstring timeout = stopTimeoutMillis_.hasValue()
                                         ? toText(stopTimeoutMillis_.value())
                                         : std::wstring(L"IsNotSet");
        LOG_INFO_TO(logger, kClassName, L"Stop parameters:", L"pidToStop", pidToStop_, L"pidFile",
                    pidFilePath_, L"timeoutMillis", timeout, L"fast", fast_, L"logFile",
                    logFilePath_);
    }
}
