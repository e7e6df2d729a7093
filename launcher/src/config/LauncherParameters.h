#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/IConsole.h"
#include "platform/ILogger.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/SimpleOptional.h"

class LauncherCliArgs;
class LauncherConfig;
class IServiceInstanceParameters;
class IJavaFinder;
class IJavaLibResolver;

// Everything the launch needs, merged from the command line, launcher.yml, the
// service ini file and the environment. Problems are not thrown but kept as one
// message text with an exit code, which the entry point prints.
class LauncherParameters {
  public:
    LauncherParameters(IOsUtilsFactory& os, IConsole& console, const LauncherCliArgs& args,
                       const LauncherConfig& config, const IServiceInstanceParameters& service,
                       IJavaFinder& finder, IJavaLibResolver& resolver);

    bool hasMessage() const { return !messageText_.empty(); }
    // Every problem found, one per line.
    const std::wstring& getMessageText() const { return messageText_; }
    // The exit code of the first problem, 0 when there is none.
    int getExitCode() const { return exitCode_; }

    bool isStart() const { return start_; }
    bool isDaemon() const { return daemon_; }
    bool isQuiet() const { return quiet_; }
    // What a SIGTERM from another process does: "jvm" (left to the JVM), "stop" or "fast".
    const std::wstring& getSigterm() const { return sigterm_; }
    const std::wstring& getInstanceDirectory() const { return instanceDirectory_; }
    const std::wstring& getPidFilePath() const { return pidFilePath_; }
    const std::wstring& getLogFilePath() const { return logFilePath_; }
    const std::wstring& getWorkDirectory() const { return workDirectory_; }
    // The contract class in dotted form.
    const std::wstring& getMainClass() const { return mainClass_; }
    int32_t getMinimalJavaVersion() const { return minimalJavaVersion_; }
    const std::wstring& getJavaHome() const { return javaHome_; }
    const std::wstring& getJvmLibraryPath() const { return jvmLibraryPath_; }
    const std::vector<std::wstring>& getJvmLibraryDependencies() const {
        return jvmLibraryDependencies_;
    }
    const std::wstring& getClassPath() const { return classPath_; }
    const std::wstring& getModulePath() const { return modulePath_; }
    // In the order the JVM gets them: launcher.yml, the service ini file,
    // JVM_OPTS, then the command line, so the command line wins where the JVM
    // takes the last of an option.
    const std::vector<std::wstring>& getJvmOptions() const { return jvmOptions_; }
    const std::vector<std::wstring>& getMainClassArgs() const { return mainClassArgs_; }
    // The banner of launcher.yml for the user's language; empty when none fits.
    const std::wstring& getUserStartupMessage() const { return userStartupMessage_; }

    int getPidToStop() const { return pidToStop_; }
    const SimpleOptional<unsigned long>& getStopTimeoutMillis() const { return stopTimeoutMillis_; }
    bool isFast() const { return fast_; }

    // Writes what was noticed while merging (the logger is not open yet then) and
    // the merged values.
    void logState(ILogger& logger) const;

  private:
    struct Note {
        const std::wstring* level;
        std::wstring message;
    };

    void mergeStart(IOsUtilsFactory& os, const LauncherCliArgs& args, const LauncherConfig& config,
                    const IServiceInstanceParameters& service, IJavaFinder& finder,
                    IJavaLibResolver& resolver);
    void mergeStop(IOsUtilsFactory& os, const LauncherCliArgs& args);
    void chooseJvmLibrary(const LauncherCliArgs& args, const LauncherConfig& config,
                          const IServiceInstanceParameters& service, IJavaFinder& finder,
                          IJavaLibResolver& resolver);
    void gatherJvmOptions(IOsUtilsFactory& os, const LauncherCliArgs& args,
                          const LauncherConfig& config, const IServiceInstanceParameters& service);
    void chooseBanner(IOsUtilsFactory& os, const LauncherConfig& config);
    void readPidFromFile(IOsUtilsFactory& os);
    void fail(int exitCode, const std::wstring& message);
    void note(const std::wstring& level, const std::wstring& message);

    std::wstring messageText_;
    int exitCode_ = 0;
    std::vector<Note> notes_;

    bool start_ = false;
    bool daemon_ = false;
    bool quiet_ = false;
    std::wstring sigterm_ = L"jvm";
    std::wstring instanceDirectory_;
    std::wstring pidFilePath_;
    std::wstring logFilePath_;
    std::wstring workDirectory_;
    std::wstring mainClass_;
    int32_t minimalJavaVersion_ = 8;
    std::wstring javaHome_;
    std::wstring jvmLibraryPath_;
    std::vector<std::wstring> jvmLibraryDependencies_;
    std::wstring classPath_;
    std::wstring modulePath_;
    std::vector<std::wstring> jvmOptions_;
    std::vector<std::wstring> mainClassArgs_;
    std::wstring userStartupMessage_;
    int pidToStop_ = -1;
    SimpleOptional<unsigned long> stopTimeoutMillis_;
    bool fast_ = false;
};
