#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/IConsole.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/SimpleOptional.h"

class CliParser;

// Whether a --sigterm or sigterm value names what a SIGTERM does: "jvm", "stop" or "fast".
bool isSigtermAction(const std::wstring& value);
class CliParseResult;

// The launcher's command line, validated once into an immutable record. Help and
// version are answered while it is built; a rejected command line is not thrown
// but kept as error text in mode Error.
class LauncherCliArgs {
  public:
    enum Mode : uint32_t { Start = 0, Stop = 1, Error = 2, Version = 3, Usage = 4 };

    // Never throws a LauncherException: one raised while parsing or validating
    // gives a record in mode Error carrying its message. The first raw argument
    // is the program name usage shows; cutArgs are the indices of the raw
    // arguments that were cut at a byte that is not UTF-8.
    static std::shared_ptr<LauncherCliArgs> create(IOsUtilsFactory& os,
                                                   const std::vector<std::wstring>& rawArgs,
                                                   const std::vector<size_t>& cutArgs = {});

    // "Start", "Stop", "Error", "Version", "Usage" or "Unknown".
    static const wchar_t* modeName(uint32_t mode);

    uint32_t getMode() const { return mode_; }
    bool isStart() const { return mode_ == Start; }
    bool isStop() const { return mode_ == Stop; }
    bool isError() const { return mode_ == Error; }
    bool isVersion() const { return mode_ == Version; }
    bool isUsage() const { return mode_ == Usage; }

    bool isDaemon() const { return daemon_; }
    // With --daemon: the command returns only once the service's start was entered.
    bool isWait() const { return wait_; }
    // The --sigterm value as given; empty when not given.
    const std::wstring& getSigterm() const { return sigterm_; }
    bool isQuiet() const { return quiet_; }
    const std::wstring& getInstanceDirectory() const { return instanceDirectory_; }
    const std::wstring& getPidFilePath() const { return pidFilePath_; }
    const std::wstring& getCoutPath() const { return coutPath_; }
    const std::wstring& getCerrPath() const { return cerrPath_; }
    const std::wstring& getLogPath() const { return logPath_; }
    const std::wstring& getServiceName() const { return serviceName_; }
    // Every --jvmopt in order, then the instance root unless one of them set it.
    const std::vector<std::wstring>& getJvmOptions() const { return jvmOptions_; }
    const std::vector<std::wstring>& getMainClassArgs() const { return mainClassArgs_; }
    const std::wstring& getWorkDirectory() const { return workDirectory_; }
    const std::wstring& getProcessTag() const { return processTag_; }
    const std::wstring& getJavaHome() const { return javaHome_; }
    const std::wstring& getJvmLibrary() const { return jvmLibrary_; }
    const std::wstring& getClassPath() const { return classPath_; }
    const std::wstring& getModulePath() const { return modulePath_; }
    const std::wstring& getContractClass() const { return contractClass_; }
    // -1 when --pid was not given.
    int getPidToStop() const { return pidToStop_; }
    const SimpleOptional<unsigned long>& getStopTimeoutMillis() const { return stopTimeoutMillis_; }
    bool isFast() const { return fast_; }
    // Every problem found, one per line.
    const std::wstring& getErrorText() const { return errorText_; }
    bool areStreamsValid() const { return streamsValid_; }
    bool isLogDestinationValid() const { return logDestinationValid_; }

    void logRawArgs() const;
    void logState() const;

    // The console with the --cout/--cerr redirections, or none when they were
    // rejected. A --clog naming one of their destinations is rejected here,
    // and so is a redirection that fails.
    std::shared_ptr<IConsole> createConsole();

  private:
    LauncherCliArgs(IOsUtilsFactory& os, std::vector<std::wstring> rawArgs,
                    std::vector<size_t> cutArgs);

    void build();
    static CliParser declareCommandLine();
    void readCommon(const CliParseResult& parsed);
    void readStop(const CliParseResult& parsed);
    void readStart(const CliParseResult& parsed);
    void checkStreams(const CliParseResult& parsed);
    // The absolute path of a usable destination, or empty after reporting why not.
    std::wstring checkDestination(const wchar_t* optionName, const std::wstring& path);
    void applyInstanceRoot();
    // Whether the option's value came from an argument that was cut short.
    bool isCut(const std::wstring& option, const std::wstring& value) const;
    // Reports every file-naming option whose value was cut short; true if any was.
    bool refuseCutPaths(const CliParseResult& parsed);
    // A rejected command line still logs its reason to a --clog that came whole.
    void keepLogForErrors(const CliParseResult& parsed);
    void appendError(const std::wstring& message);
    bool reusesStreamDestination() const;

    IOsUtilsFactory& os_;
    std::vector<std::wstring> rawArgs_;
    std::vector<size_t> cutArgs_;

    uint32_t mode_ = Usage;
    bool daemon_ = false;
    bool wait_ = false;
    std::wstring sigterm_;
    bool quiet_ = false;
    std::wstring instanceDirectory_;
    std::wstring pidFilePath_;
    std::wstring coutPath_;
    std::wstring cerrPath_;
    std::wstring logPath_;
    std::wstring serviceName_;
    std::vector<std::wstring> jvmOptions_;
    std::vector<std::wstring> mainClassArgs_;
    std::wstring workDirectory_;
    std::wstring processTag_;
    std::wstring javaHome_;
    std::wstring jvmLibrary_;
    std::wstring classPath_;
    std::wstring modulePath_;
    std::wstring contractClass_;
    int pidToStop_ = -1;
    SimpleOptional<unsigned long> stopTimeoutMillis_;
    bool fast_ = false;
    std::wstring errorText_;
    bool streamsValid_ = true;
    bool logDestinationValid_ = true;

    // Where the checked destinations resolve, so that two spellings of one file
    // are still seen as the same destination.
    std::wstring coutAbsolute_;
    std::wstring cerrAbsolute_;
    std::wstring logAbsolute_;
};
