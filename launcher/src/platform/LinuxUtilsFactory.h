#pragma once

#include "platform/IOsUtilsFactory.h"
#include "platform/LinuxFileUtils.h"
#include "platform/LinuxProcessUtils.h"
#include "platform/LinuxServiceManagerNotifier.h"
#include "platform/LinuxSystemUtils.h"

// The Linux OS utilities, one instance per process behind getOsUtilsFactory().
class LinuxUtilsFactory : public IOsUtilsFactory {
  public:
    IFileUtils& getFileUtils() override;
    IProcessUtils& getProcessUtils() override;
    ISystemUtils& getSystemUtils() override;
    IServiceManagerNotifier& getServiceManagerNotifier() override;
    const std::wstring& getLineSeparator() const override;
    std::unique_ptr<IConsole> createConsole(const std::wstring& coutPath,
                                            const std::wstring& cerrPath,
                                            std::wstring& errorText) override;

  private:
    LinuxFileUtils fileUtils_;
    LinuxProcessUtils processUtils_;
    LinuxSystemUtils systemUtils_;
    LinuxServiceManagerNotifier serviceManagerNotifier_;
};
