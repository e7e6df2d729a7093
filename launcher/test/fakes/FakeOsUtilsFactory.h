#pragma once

#include <memory>
#include <string>

#include "fakes/FakeConsole.h"
#include "fakes/FakeFileUtils.h"
#include "fakes/FakeProcessUtils.h"
#include "fakes/FakeServiceManagerNotifier.h"
#include "fakes/FakeSystemUtils.h"
#include "platform/IOsUtilsFactory.h"

// All the OS utilities in memory, for classes that take an IOsUtilsFactory&.
// Consoles it creates write into consoleText.
class FakeOsUtilsFactory : public IOsUtilsFactory {
  public:
    IFileUtils& getFileUtils() override { return files; }
    IProcessUtils& getProcessUtils() override { return process; }
    ISystemUtils& getSystemUtils() override { return system; }
    IServiceManagerNotifier& getServiceManagerNotifier() override { return notifier; }
    const std::wstring& getLineSeparator() const override { return lineSeparator_; }
    std::unique_ptr<IConsole> createConsole(const std::wstring&, const std::wstring&,
                                            std::wstring&) override {
        return std::make_unique<FakeConsole>(consoleText);
    }

    FakeFileUtils files;
    FakeProcessUtils process;
    FakeSystemUtils system;
    FakeServiceManagerNotifier notifier;
    std::shared_ptr<FakeConsole::Text> consoleText = std::make_shared<FakeConsole::Text>();

  private:
    const std::wstring lineSeparator_ = L"\n";
};
