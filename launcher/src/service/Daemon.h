#pragma once

#include <cstdint>
#include <future>
#include <map>
#include <string>
#include <vector>

#include "jvm/JavaVmManager.h"
#include "platform/IConsole.h"
#include "platform/IOsUtilsFactory.h"
#include "service/IServiceObject.h"
#include "service/PidFile.h"

class LauncherParameters;

// The service of start mode: turns the launch parameters into a running Java
// service, answers stop requests with the contract's stop method, and turns the
// outcome of both Java calls into an exit code.
class Daemon : public IServiceObject {
  public:
    Daemon(IOsUtilsFactory& os, const LauncherParameters& parameters, IConsole& console);
    // Removes the PID file, so it exists for as long as the service does.
    ~Daemon() override;
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    void prepare(IService& service) override;
    int32_t run(IService& service) override;
    void stop(IService& service) override;
    void exceptionHandler(const LauncherException& exception) override;

    // The JVM options in the order the JVM gets them: module path, class path,
    // then the configured options. Throws (code 2) when a path matches nothing.
    std::vector<std::wstring> buildJvmArguments();
    // The files a path list names, ":"-separated; wildcards only in file names.
    std::wstring resolveWildcards(const std::wstring& pathList);

  private:
    void changeWorkingDirectoryIfNeeded();
    void waitForServiceStartMethodToFinish();
    std::future<void> callServiceStopMethodAndWaitForItsFinish(bool fast);

    IOsUtilsFactory& os_;
    JavaVmManager jvm_;
    PidFile pidFile_;
    const LauncherParameters& parameters_;
    std::future<void> startResult_;
    IConsole& console_;
};
