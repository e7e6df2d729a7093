#include "cli/LauncherCliArgs.h"

#include <stdexcept>
#include <utility>

#include "cli/CliHelpSwitch.h"
#include "cli/CliParseResult.h"
#include "cli/CliParser.h"
#include "cli/CliSwitch.h"
#include "cli/CliVersionSwitch.h"
#include "platform/LauncherException.h"
#include "platform/LauncherVersion.h"
#include "platform/LocalizationSupport.h"
#include "platform/Logger.h"

namespace {

const wchar_t* const kClassName = L"LauncherCliArgs";
const std::wstring kInstanceRootOption = L"-Dinstance.root=";

std::wstring text(const char* id) {
    return LocalizationSupport::getText(id);
}

std::shared_ptr<const ICliSwitch> flag(const wchar_t* name, const char* descriptionId) {
    return std::make_shared<CliSwitch>(CliSwitch::flag(name, text(descriptionId)));
}

std::shared_ptr<const ICliSwitch> option(const wchar_t* name, const wchar_t* valueName,
                                         const char* descriptionId) {
    return std::make_shared<CliSwitch>(CliSwitch::option(name, valueName, text(descriptionId)));
}

std::shared_ptr<const ICliSwitch> repeatable(const wchar_t* name, const wchar_t* valueName,
                                             const char* descriptionId) {
    return std::make_shared<CliSwitch>(CliSwitch::repeatable(name, valueName, text(descriptionId)));
}

// Read the way std::stoi reads: leading blanks and a sign are fine, anything
// after the number is not.
int parsePid(const std::wstring& value) {
    if (value.empty()) {
        return -1;
    }
    size_t used = 0;
    int pid = 0;
    try {
        pid = std::stoi(value, &used);
    } catch (const std::logic_error&) {
        throw LauncherException(LauncherException::kCommandLine,
                                formatMessage("IDS_PID_INVALID_VALUE", value));
    }
    if (used != value.size()) {
        throw LauncherException(LauncherException::kCommandLine,
                                formatMessage("IDS_PID_INVALID_SYNTAX", value));
    }
    if (pid <= 0) {
        throw LauncherException(LauncherException::kCommandLine,
                                formatMessage("IDS_PID_INVALID_VALUE", value));
    }
    return pid;
}

// Read the way std::stoul reads, which also means a leading minus wraps around.
SimpleOptional<unsigned long> parseTimeout(const std::wstring& value) {
    if (value.empty()) {
        return {};
    }
    size_t used = 0;
    unsigned long millis = 0;
    try {
        millis = std::stoul(value, &used);
    } catch (const std::logic_error&) {
        used = 0;
    }
    if (used == 0 || used != value.size()) {
        throw LauncherException(LauncherException::kCommandLine,
                                formatMessage("IDS_INVALID_TIMEOUT", value));
    }
    return millis;
}

std::wstring timeoutLogText(const SimpleOptional<unsigned long>& timeout) {
    return timeout ? toText(timeout.value()) : std::wstring(L"IsNotSet");
}

}  // namespace

LauncherCliArgs::LauncherCliArgs(IOsUtilsFactory& os, std::vector<std::wstring> rawArgs,
                                 std::vector<size_t> cutArgs)
    : os_(os), rawArgs_(std::move(rawArgs)), cutArgs_(std::move(cutArgs)) {}

std::shared_ptr<LauncherCliArgs> LauncherCliArgs::create(IOsUtilsFactory& os,
                                                         const std::vector<std::wstring>& rawArgs,
                                                         const std::vector<size_t>& cutArgs) {
    std::shared_ptr<LauncherCliArgs> args(new LauncherCliArgs(os, rawArgs, cutArgs));
    try {
        args->build();
    } catch (const LauncherException& e) {
        std::shared_ptr<LauncherCliArgs> failed(new LauncherCliArgs(os, rawArgs, cutArgs));
        failed->appendError(e.getMessage());
        return failed;
    }
    return args;
}

bool isSigtermAction(const std::wstring& value) {
    return value == L"jvm" || value == L"stop" || value == L"fast";
}

const wchar_t* LauncherCliArgs::modeName(uint32_t mode) {
    switch (mode) {
        case Start:
            return L"Start";
        case Stop:
            return L"Stop";
        case Error:
            return L"Error";
        case Version:
            return L"Version";
        case Usage:
            return L"Usage";
        default:
            return L"Unknown";
    }
}

CliParser LauncherCliArgs::declareCommandLine() {
    auto version = std::make_shared<CliVersionSwitch>(
        std::vector<std::wstring>{L"--version", L"-v"}, text("IDS_CLI_SWITCH_DESCR_VERSION"));
    auto help = std::make_shared<CliHelpSwitch>(std::vector<std::wstring>{L"--help", L"-?", L"-h"},
                                                text("IDS_CLI_SWITCH_DESCR_HELP"));
    auto pidFile = option(L"--pidfile", L"/path/to/file", "IDS_CLISWITCH_PIDFILE");
    auto cout = option(L"--cout", L"/path/to/file", "IDS_CLISWITCH_COUT");
    auto cerr = option(L"--cerr", L"/path/to/file", "IDS_CLISWITCH_CERR");
    auto cstd = option(L"--cstd", L"/path/to/file", "IDS_CLISWITCH_CSTD");
    auto clog = option(L"--clog", L"/path/to/file", "IDS_CLISWITCH_CLOG");

    CliMode helpMode(L"help", L" help [options] [arguments]", text("IDS_CLI_MODE_DESCR_HELP"));
    helpMode.add(version);
    helpMode.add(help);
    helpMode.add(std::make_shared<CliHelpSwitch>(std::vector<std::wstring>{L"start"},
                                                 text("IDS_CLI_MODE_DESCR_START"), L"start"));
    helpMode.add(std::make_shared<CliHelpSwitch>(std::vector<std::wstring>{L"stop"},
                                                 text("IDS_CLI_MODE_DESCR_STOP"), L"stop"));

    CliMode startMode(L"start", L" start [options] [arguments]", text("IDS_CLI_MODE_DESCR_START"));
    startMode.add(version);
    startMode.add(help);
    startMode.add(flag(L"--daemon", "IDS_CLISWITCH_DAEMON"));
    startMode.add(flag(L"--wait", "IDS_CLISWITCH_WAIT"));
    startMode.add(flag(L"--quiet", "IDS_CLISWITCH_QUIET"));
    startMode.add(option(L"--sigterm", L"jvm|stop|fast", "IDS_CLISWITCH_SIGTERM"));
    startMode.add(option(L"--instance", L"/path/to/dir", "IDS_CLISWITCH_INSTANCE"));
    startMode.add(option(L"--procname", L"word", "IDS_CLISWITCH_PROCNAME"));
    startMode.add(option(L"--workdir", L"/path/to/dir", "IDS_CLISWITCH_WORKDIR"));
    startMode.add(pidFile);
    startMode.add(cout);
    startMode.add(cerr);
    startMode.add(cstd);
    startMode.add(clog);
    startMode.add(option(L"--servicename", L"string", "IDS_CLISWITCH_SERVICENAME"));
    startMode.add(option(L"--javahome", L"/path/to/dir", "IDS_CLISWITCH_JHOME"));
    startMode.add(option(L"--jvmdll", L"/path/to/file", "IDS_CLISWITCH_JVMDLL"));
    startMode.add(repeatable(L"--jvmopt", L"word", "IDS_CLISWITCH_CLISWITCH_JVMOPT"));
    startMode.add(option(L"--jclasspath", L"/path/with/wild*cards", "IDS_CLISWITCH_JCLASSPATH"));
    startMode.add(option(L"--jmodulepath", L"/path/with/wild*cards", "IDS_CLISWITCH_JMODULEPATH"));
    startMode.add(option(L"--jifaceclass", L"package.class", "IDS_CLISWITCH_JIFACECLASS"));
    startMode.add(repeatable(L"--jifacearg", L"word", "IDS_CLISWITCH_JIFACEARG"));

    CliMode stopMode(L"stop", L" stop [options] [arguments]", text("IDS_CLI_MODE_DESCR_STOP"));
    stopMode.add(version);
    stopMode.add(help);
    stopMode.add(flag(L"--fast", "IDS_CLISWITCH_FAST"));
    stopMode.add(option(L"--pid", L"PID", "IDS_CLISWITCH_PID"));
    stopMode.add(pidFile);
    stopMode.add(option(L"--timeout", L"msecs", "IDS_CLISWITCH_TIMEOUT"));
    stopMode.add(cout);
    stopMode.add(cerr);
    stopMode.add(cstd);
    stopMode.add(clog);

    CliParser parser;
    parser.addMode(std::move(helpMode));
    parser.addMode(std::move(startMode));
    parser.addMode(std::move(stopMode));
    return parser;
}

void LauncherCliArgs::build() {
    const std::wstring programName = rawArgs_.empty() ? std::wstring(L"launcher") : rawArgs_[0];
    const std::vector<std::wstring> args(rawArgs_.empty() ? rawArgs_.end() : rawArgs_.begin() + 1,
                                         rawArgs_.end());
    const CliParser parser = declareCommandLine();
    const CliParseResult parsed = parser.parse(args);

    if (parsed.hasError()) {
        for (const std::wstring& message : parsed.getErrors()) {
            appendError(message);
        }
        // The reason still reaches the log file when the command line named a usable one.
        keepLogForErrors(parsed);
        return;
    }

    const std::wstring& name = parsed.getModeName();
    if (name == L"help") {
        if (parsed.isVersionRequested()) {
            mode_ = Version;
            std::shared_ptr<IConsole> console = createConsole();
            console->write(L"Version ");
            console->writeLine(kLauncherVersion);
        } else {
            mode_ = Usage;
            const std::wstring& topic = parsed.isHelpRequested() ? parsed.getHelpTopic() : name;
            createConsole()->writeLine(parser.getUsage(programName, topic));
        }
        return;
    }
    uint32_t requested;
    if (name == L"start") {
        requested = Start;
    } else if (name == L"stop") {
        requested = Stop;
    } else {
        appendError(formatMessage("IDS_UNKNOWN_MODE", name));
        return;
    }

    mode_ = requested;
    errorText_.clear();
    streamsValid_ = true;
    logDestinationValid_ = true;
    if (refuseCutPaths(parsed)) {
        // Nothing is opened for a cut name, which would be another file; the
        // reason still goes to a --clog that came whole.
        keepLogForErrors(parsed);
        return;
    }
    checkStreams(parsed);
    logPath_ = parsed.getValue(L"--clog");
    if (!logPath_.empty()) {
        logAbsolute_ = checkDestination(L"--clog", logPath_);
        logDestinationValid_ = !logAbsolute_.empty();
    }
    quiet_ = parsed.has(L"--quiet");
    try {
        switch (requested) {
            case Stop:
                readStop(parsed);
                break;
            case Start:
                readStart(parsed);
                break;
            default:
                appendError(
                    L"Internal error: illegal mode argument in LauncherCliArgs::LauncherCliArgs");
                break;
        }
    } catch (const LauncherException& e) {
        // A number that cannot be read is the one thing reported; the
        // destinations read so far stay, so the reason still reaches --clog.
        errorText_ = e.getMessage();
        mode_ = Error;
    }
    if (!streamsValid_ || !logDestinationValid_) {
        mode_ = Error;
    }
}

void LauncherCliArgs::checkStreams(const CliParseResult& parsed) {
    coutPath_ = parsed.getValue(L"--cout");
    cerrPath_ = parsed.getValue(L"--cerr");
    const std::wstring cstd = parsed.getValue(L"--cstd");
    if (!cstd.empty()) {
        const wchar_t* conflicting =
            !coutPath_.empty() ? L"--cout" : (!cerrPath_.empty() ? L"--cerr" : nullptr);
        if (conflicting != nullptr) {
            streamsValid_ = false;
            appendError(formatMessage("IDS_OPTIONS_CONFLICT", conflicting, L"--cstd"));
            return;
        }
        coutPath_ = cstd;
        cerrPath_ = cstd;
        coutAbsolute_ = checkDestination(L"--cstd", cstd);
        cerrAbsolute_ = coutAbsolute_;
        streamsValid_ = !coutAbsolute_.empty();
        return;
    }
    if (!coutPath_.empty()) {
        coutAbsolute_ = checkDestination(L"--cout", coutPath_);
        streamsValid_ = streamsValid_ && !coutAbsolute_.empty();
    }
    if (!cerrPath_.empty()) {
        cerrAbsolute_ = checkDestination(L"--cerr", cerrPath_);
        streamsValid_ = streamsValid_ && !cerrAbsolute_.empty();
    }
}

std::wstring LauncherCliArgs::checkDestination(const wchar_t* optionName,
                                               const std::wstring& path) {
    IFileUtils& files = os_.getFileUtils();
    try {
        // Nothing is created here, so nothing has to be deleted again: an empty log
        // file left behind would be rotated away as an old log by the start that follows.
        return files.prepareFileForAppend(path);
    } catch (const LauncherException&) {
        // errno still belongs to the call that failed.
        const std::wstring osError = os_.getSystemUtils().getLastErrorText();
        appendError(
            formatMessage("IDS_DESTINATION_IS_NOT_ACCESSIBLE_EX", optionName, path, osError));
        return std::wstring();
    }
}

void LauncherCliArgs::readStop(const CliParseResult& parsed) {
    instanceDirectory_ = parsed.getValue(L"--instance");
    pidFilePath_ = parsed.getValue(L"--pidfile");
    pidToStop_ = parsePid(parsed.getValue(L"--pid"));
    stopTimeoutMillis_ = parseTimeout(parsed.getValue(L"--timeout"));
    fast_ = parsed.has(L"--fast");
}

void LauncherCliArgs::readStart(const CliParseResult& parsed) {
    instanceDirectory_ = parsed.getValue(L"--instance");
    jvmOptions_ = parsed.getValues(L"--jvmopt");
    applyInstanceRoot();
    pidFilePath_ = parsed.getValue(L"--pidfile");
    mainClassArgs_ = parsed.getValues(L"--jifacearg");
    workDirectory_ = parsed.getValue(L"--workdir");
    daemon_ = parsed.has(L"--daemon");
    wait_ = parsed.has(L"--wait");
    if (wait_ && !daemon_) {
        appendError(formatMessage("IDS_OPTION_NEEDS_OTHER", L"--wait", L"--daemon"));
    }
    sigterm_ = parsed.getValue(L"--sigterm");
    if (!sigterm_.empty() && !isSigtermAction(sigterm_)) {
        appendError(formatMessage("IDS_INVALID_SIGTERM", L"--sigterm", sigterm_));
    }
    processTag_ = parsed.getValue(L"--procname");
    serviceName_ = parsed.getValue(L"--servicename");
    javaHome_ = parsed.getValue(L"--javahome");
    jvmLibrary_ = parsed.getValue(L"--jvmdll");
    classPath_ = parsed.getValue(L"--jclasspath");
    modulePath_ = parsed.getValue(L"--jmodulepath");
    contractClass_ = parsed.getValue(L"--jifaceclass");
}

void LauncherCliArgs::applyInstanceRoot() {
    if (instanceDirectory_.empty()) {
        return;
    }
    IFileUtils& files = os_.getFileUtils();
    try {
        if (!files.exists(instanceDirectory_)) {
            appendError(formatMessage("IDS_INSTANCE_ROOT_NOT_EXIST", instanceDirectory_));
            return;
        }
        if (!files.isDirectory(instanceDirectory_)) {
            appendError(formatMessage("IDS_INSTANCE_ROOT_IS_A_FILE", instanceDirectory_));
            return;
        }
    } catch (const LauncherException& e) {
        appendError(
            formatMessage("IDS_CANNOT_SET_INSTANCE_ROOT", instanceDirectory_, e.getMessage()));
        return;
    }
    for (const std::wstring& option : jvmOptions_) {
        if (option.rfind(kInstanceRootOption, 0) == 0) {
            return;
        }
    }
    jvmOptions_.push_back(kInstanceRootOption + instanceDirectory_);
}

void LauncherCliArgs::keepLogForErrors(const CliParseResult& parsed) {
    logPath_ = parsed.getValue(L"--clog");
    if (isCut(L"--clog", logPath_)) {
        logPath_.clear();
    }
    if (!logPath_.empty()) {
        logAbsolute_ = checkDestination(L"--clog", logPath_);
        logDestinationValid_ = !logAbsolute_.empty();
    }
}

bool LauncherCliArgs::isCut(const std::wstring& option, const std::wstring& value) const {
    for (size_t index : cutArgs_) {
        if (index >= rawArgs_.size()) {
            continue;
        }
        const std::wstring& arg = rawArgs_[index];
        if (arg == option + L"=" + value ||
            (index > 0 && rawArgs_[index - 1] == option && arg == value)) {
            return true;
        }
    }
    return false;
}

bool LauncherCliArgs::refuseCutPaths(const CliParseResult& parsed) {
    // Every option whose value names a file or directory, or the class that a
    // class file holds.
    static const wchar_t* const kPathOptions[] = {
        L"--instance",    L"--workdir",     L"--pidfile",    L"--cout",   L"--cerr",
        L"--cstd",        L"--clog",        L"--javahome",   L"--jvmdll", L"--jclasspath",
        L"--jmodulepath", L"--servicename", L"--jifaceclass"};
    bool refused = false;
    for (const wchar_t* option : kPathOptions) {
        const std::wstring value = parsed.getValue(option);
        if (isCut(option, value)) {
            appendError(formatMessage("IDS_CLI_PATH_NOT_UTF8", option, value));
            refused = true;
        }
    }
    return refused;
}

void LauncherCliArgs::appendError(const std::wstring& message) {
    if (!errorText_.empty()) {
        errorText_ += os_.getLineSeparator();
    }
    errorText_ += message;
    mode_ = Error;
}

bool LauncherCliArgs::reusesStreamDestination() const {
    if (logPath_.empty()) {
        return false;
    }
    auto sameAsLog = [this](const std::wstring& path, const std::wstring& absolute) {
        return !path.empty() &&
               (path == logPath_ || (!absolute.empty() && absolute == logAbsolute_));
    };
    return sameAsLog(coutPath_, coutAbsolute_) || sameAsLog(cerrPath_, cerrAbsolute_);
}

std::shared_ptr<IConsole> LauncherCliArgs::createConsole() {
    if (reusesStreamDestination()) {
        appendError(formatMessage("IDS_LOG_REUSE_OF_OTHER_STREAMS_PROHIBITED", logPath_));
        coutPath_.clear();
        cerrPath_.clear();
        coutAbsolute_.clear();
        cerrAbsolute_.clear();
    }
    std::wstring redirectionError;
    std::unique_ptr<IConsole> console =
        os_.createConsole(streamsValid_ ? coutPath_ : std::wstring(),
                          streamsValid_ ? cerrPath_ : std::wstring(), redirectionError);
    if (!redirectionError.empty()) {
        appendError(redirectionError);
    }
    return std::shared_ptr<IConsole>(std::move(console));
}

void LauncherCliArgs::logRawArgs() const {
    LOG_INFO(kClassName, L"CLI args parsed", L"args", rawArgs_);
}

void LauncherCliArgs::logState() const {
    switch (mode_) {
        case Start:
            LOG_INFO(kClassName, L"Mode is Start. JVM:", L"javaHome", javaHome_, L"jvmLibrary",
                     jvmLibrary_, L"classPath", classPath_, L"modulePath", modulePath_,
                     L"contractClass", contractClass_);
            LOG_INFO(kClassName, L"Mode is Start. JVM options:", L"options", jvmOptions_);
            LOG_INFO(kClassName, L"Mode is Start. main class args:", L"args", mainClassArgs_);
            LOG_INFO(kClassName, L"Mode is Start. Environment:", L"instance", instanceDirectory_,
                     L"workDir", workDirectory_, L"pidFile", pidFilePath_, L"cout", coutPath_,
                     L"cerr", cerrPath_, L"logFile", logPath_, L"serviceName", serviceName_,
                     L"procName", processTag_, L"daemon", daemon_, L"wait", wait_, L"quiet", quiet_,
                     L"sigterm", sigterm_);
            break;
        case Stop:
            LOG_INFO(kClassName, L"Mode is Stop. Environment:", L"pidFile", pidFilePath_, L"pid",
                     pidToStop_, L"timeoutMillis", timeoutLogText(stopTimeoutMillis_), L"fast",
                     fast_, L"cout", coutPath_, L"cerr", cerrPath_, L"logFile", logPath_);
            break;
        case Error:
            LOG_INFO(kClassName, L"Mode is Error.", L"Errors", errorText_);
            break;
        case Usage:
            LOG_INFO(kClassName, L"Mode is Usage.");
            break;
        case Version:
            LOG_INFO(kClassName, L"Mode is Version.");
            break;
        default:
            LOG_INFO(kClassName, L"Illegal state. mode =", L"mode", mode_);
            break;
    }
}
