#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/IProcessUtils.h"

// The launcher's own process as Linux shows it through /proc and the C library.
class LinuxProcessUtils : public IProcessUtils {
  public:
    std::vector<std::wstring> getCommandLineArgs() override;
    std::vector<size_t> getCutCommandLineArgs() override;
    std::vector<std::wstring> convertArgs(int argc, char** argv) override;
    std::vector<std::wstring> convertArgs(int argc, wchar_t** argv) override;
    int getPid() override;
    std::wstring getExecutablePath() override;
    std::wstring getExecutableDirectory() override;
    void changeDirectory(const std::wstring& path) override;
    int sleep(long milliseconds) override;
    std::wstring getEnv(const std::wstring& name) override;
    bool detach(DetachStage until) override;
    void reportDetachStage(DetachStage stage) override;

  private:
    // The arguments as the kernel keeps them, bytes unconverted; read once, since they
    // cannot change and start-up asks for them twice.
    const std::vector<std::string>& rawCommandLine();

    std::optional<std::vector<std::string>> commandLine_;
    // The write end of the pipe to the waiting parent; -1 when there is none.
    int detachPipe_ = -1;
    DetachStage detachUntil_ = DetachStage::kPidFileWritten;
};
