#pragma once

#include <memory>
#include <string>

#include "fakes/FakeProcessUtils.h"
#include "platform/IOsUtilsFactory.h"

// The machine's real files, libraries and consoles, with a process (executable
// path, environment) that the test describes.
class RealOsWithFakeProcess : public IOsUtilsFactory {
  public:
    IFileUtils& getFileUtils() override { return real_.getFileUtils(); }
    IProcessUtils& getProcessUtils() override { return process; }
    ISystemUtils& getSystemUtils() override { return real_.getSystemUtils(); }
    const std::wstring& getLineSeparator() const override { return real_.getLineSeparator(); }
    std::unique_ptr<IConsole> createConsole(const std::wstring& coutPath,
                                            const std::wstring& cerrPath,
                                            std::wstring& errorText) override {
        return real_.createConsole(coutPath, cerrPath, errorText);
    }

    FakeProcessUtils process;

  private:
    IOsUtilsFactory& real_ = getOsUtilsFactory();
};
