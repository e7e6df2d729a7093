#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/IFileLock.h"
#include "platform/SimpleOptional.h"

class IConsole;
class IOsUtilsFactory;

// Stop mode: asks another launcher to stop, waits for it and kills it when it takes
// longer than allowed. Before a start it makes sure no launcher owns the PID file.
// What depends on the operating system is left to the subclass for one target process.
class StopRequestClient {
  public:
    // Outcomes of the steps against the target.
    static constexpr int kNotFound = 0;
    static constexpr int kStoppedGracefully = 1;
    static constexpr int kStillRunning = 2;
    static constexpr int kKilled = 3;
    static constexpr int kNotPermitted = 4;

    StopRequestClient(IOsUtilsFactory& os, IFileLock& lock);

    virtual bool isRunning() = 0;
    virtual ~StopRequestClient();
    // The target's command-line arguments; empty when they cannot be read.
    virtual std::vector<std::wstring> getCommandLine() = 0;
    virtual int askToStop(bool fast) = 0;
    virtual int terminateProcess() = 0;
    virtual int32_t getTargetPid() const = 0;

    // The whole stop mode: stops the target, tells the user on standard error and
    // returns the exit code. pidFromPidFile says that the target's id was read from
    // the PID file, which then has to be held by a running launcher to be believed.
    int32_t stopAndReport(const std::wstring& pidFilePath, bool pidFromPidFile,
                          const SimpleOptional<unsigned long>& timeoutMs, bool fast,
                          IConsole& console);
    // Asks, waits and, when a timeout was given, kills; one of the outcomes above.
    int stop(const SimpleOptional<unsigned long>& timeoutMs, bool fast);
    // Polls every 100 ms; kStoppedGracefully once the target is gone, else kStillRunning.
    int waitForTermination(unsigned long timeoutMs);
    // Deletes the PID file a killed launcher left: 1 removed, 2 not removed, 0 absent.
    int cleanupPidFileAfterClientShutdown(const std::wstring& pidFilePath);
    // The PID-file path on the target's command line, empty when none is found.
    std::wstring getPidFilePath();

    // Before a start: refuses (LauncherException, code 3) when the launcher the PID file
    // names holds it, and deletes a file that is not held so.
    static void checkClientLauncherIsNotRunning(IOsUtilsFactory& os, IFileLock& lock,
                                                const std::wstring& pidFilePath);

  protected:
    IOsUtilsFactory& os_;
    IFileLock& lock_;

  private:
    // Whether the file is a regular file that names the target and whose lock the
    // target holds: the one proof that the target is the launcher that wrote it.
    bool isHeldByTarget(const std::wstring& pidFilePath);
    // Whether a lock of that holder may still be the killed target's.
    bool isHolderGoing(int32_t holder) const;

    IFileLock::Inspection targetPidFile_;
    bool heldByTarget_ = false;
};
