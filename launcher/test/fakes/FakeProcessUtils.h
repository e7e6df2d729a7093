#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/IProcessUtils.h"

// The launcher's process as a test describes it: pid, executable and environment.
// Sleeping only records the interval. What no test needs throws.
class FakeProcessUtils : public IProcessUtils {
  public:
    std::vector<std::wstring> getCommandLineArgs() override { notFaked(); }
    std::vector<std::wstring> convertArgs(int, char**) override { notFaked(); }
    std::vector<std::wstring> convertArgs(int, wchar_t**) override { notFaked(); }
    int getPid() override { return pid; }
    std::wstring getExecutablePath() override { return executablePath; }
    std::wstring getExecutableDirectory() override {
        return executablePath.substr(0, executablePath.rfind(L'/'));
    }
    void changeDirectory(const std::wstring&) override { notFaked(); }
    int sleep(long milliseconds) override {
        sleeps.push_back(milliseconds);
        return 0;
    }
    std::wstring getEnv(const std::wstring& name) override {
        auto found = environment.find(name);
        return found == environment.end() ? std::wstring() : found->second;
    }

    bool detach(DetachStage until) override {
        detachedUntil.push_back(static_cast<char>(until));
        return detachSucceeds;
    }
    void reportDetachStage(DetachStage stage) override {
        reportedStages.push_back(static_cast<char>(stage));
    }

    int pid = 4242;
    bool detachSucceeds = true;
    // The stages asked for and reported, as their letters.
    std::string detachedUntil;
    std::string reportedStages;
    std::wstring executablePath = L"/opt/launcher/bin/launcher";
    std::map<std::wstring, std::wstring> environment;
    std::vector<long> sleeps;

  private:
    [[noreturn]] static void notFaked() { throw std::logic_error("not faked"); }
};
