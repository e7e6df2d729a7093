#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/IProcessUtils.h"
#include "platform/LauncherOsException.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

// The launcher's process as a test describes it: arguments, pid, executable and
// environment. Sleeping only records the interval.
class FakeProcessUtils : public IProcessUtils {
  public:
    std::vector<std::wstring> getCommandLineArgs() override { return arguments; }
    std::vector<std::wstring> convertArgs(int argc, char** argv) override {
        std::vector<std::wstring> args;
        for (int i = 0; i < argc; ++i) {
            args.push_back(toWide(argv[i]));
        }
        return args;
    }
    std::vector<std::wstring> convertArgs(int argc, wchar_t** argv) override {
        return std::vector<std::wstring>(argv, argv + argc);
    }
    int getPid() override { return pid; }
    std::wstring getExecutablePath() override { return executablePath; }
    std::wstring getExecutableDirectory() override {
        size_t slash = executablePath.rfind(L'/');
        return slash == std::wstring::npos ? executablePath : executablePath.substr(0, slash);
    }
    // Directories listed in missingDirectories fail as the real one would.
    void changeDirectory(const std::wstring& path) override {
        if (missingDirectories.count(path) != 0) {
            throw LauncherOsException(formatMessage(
                "IDS_CANNOT_CWD", path, std::wstring(L"(2) No such file or directory")));
        }
        currentDirectory = path;
    }
    int sleep(long milliseconds) override {
        sleeps.push_back(milliseconds);
        return 0;
    }
    std::wstring getEnv(const std::wstring& name) override {
        auto found = environment.find(name);
        return found == environment.end() ? std::wstring() : found->second;
    }

    std::vector<std::wstring> arguments{L"/opt/launcher/bin/launcher"};
    int pid = 4242;
    std::wstring executablePath = L"/opt/launcher/bin/launcher";
    std::map<std::wstring, std::wstring> environment;
    std::wstring currentDirectory = L"/";
    std::set<std::wstring> missingDirectories;
    std::vector<long> sleeps;
};
