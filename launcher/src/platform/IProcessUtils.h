#pragma once

#include <string>
#include <vector>

// The launcher's own process: arguments, identity, directory, environment.
class IProcessUtils {
  public:
    virtual std::vector<std::wstring> getCommandLineArgs() = 0;
    virtual std::vector<std::wstring> convertArgs(int argc, char** argv) = 0;
    virtual std::vector<std::wstring> convertArgs(int argc, wchar_t** argv) = 0;
    virtual int getPid() = 0;
    virtual std::wstring getExecutablePath() = 0;
    virtual std::wstring getExecutableDirectory() = 0;
    virtual void changeDirectory(const std::wstring& path) = 0;
    // One nanosleep; an interval of a second or more is refused by the OS and
    // returns at once with a non-zero result.
    virtual int sleep(long milliseconds) = 0;
    // The variable's value, empty when unset.
    virtual std::wstring getEnv(const std::wstring& name) = 0;

    // The points a detached launcher reports to the parent that started it.
    enum class DetachStage : char { kPidFileWritten = 'P', kStarted = 'S' };
    // Splits the process: the child leads a session of its own, keeps the working
    // directory and the standard streams, and returns true. The parent never returns:
    // it waits until the child reports `until` (or a later stage) and exits 0, or exits
    // with the child's exit code when the child ends first. False, errno set, when the
    // child cannot be made.
    virtual bool detach(DetachStage until) = 0;
    // In a detached child: tells the parent the stage is reached. Nothing otherwise, or
    // once the parent has what it waited for.
    virtual void reportDetachStage(DetachStage stage) = 0;
    virtual ~IProcessUtils() = default;
};
