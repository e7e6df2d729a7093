#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/ILogger.h"
#include "platform/IOsUtilsFactory.h"
#include "platform/SimpleOptional.h"

class YamlNode;

// The content of an instance's launcher.yml: its simple values, JVM options,
// main class arguments, banners and minimal Java version, placeholders expanded.
class LauncherConfig {
  public:
    static constexpr int32_t kDefaultMinimalJavaVersion = 8;

    // Empty: no values, empty lists, minimal Java version 8.
    LauncherConfig() = default;

    // Reads <instanceDirectory>/launcher.yml in start mode when the file exists.
    // Never throws a LauncherException: a file that cannot be read leaves an
    // empty configuration holding the error's text and code.
    static LauncherConfig readLauncherConfig(IOsUtilsFactory& os,
                                             const std::wstring& instanceDirectory, bool startMode);
    // Reads and checks the file at filePath; throws LauncherException.
    static LauncherConfig readFile(IOsUtilsFactory& os, const std::wstring& filePath,
                                   const std::wstring& instanceDirectory);
    // Replaces the ${...} placeholders in a value, in their fixed order.
    static std::wstring expandPlaceholders(IOsUtilsFactory& os, const std::wstring& value,
                                           const std::wstring& instanceDirectory,
                                           const std::wstring& fileName);

    SimpleOptional<std::wstring> getWorkDir() const { return getValue(L"work-dir"); }
    SimpleOptional<std::wstring> getServiceName() const { return getValue(L"service-name"); }
    SimpleOptional<std::wstring> getJavaHome() const { return getValue(L"java-home"); }
    SimpleOptional<std::wstring> getPidFile() const { return getValue(L"pid-file"); }
    SimpleOptional<std::wstring> getLogFile() const { return getValue(L"log-file"); }
    SimpleOptional<std::wstring> getClassPath() const { return getValue(L"class-path"); }
    SimpleOptional<std::wstring> getModulePath() const { return getValue(L"module-path"); }
    SimpleOptional<std::wstring> getMainClass() const { return getValue(L"main-class"); }
    bool isQuiet() const;
    SimpleOptional<std::wstring> getSigterm() const { return getValue(L"sigterm"); }
    const std::vector<std::wstring>& getJvmOpts() const { return jvmOpts_; }
    const std::vector<std::wstring>& getMainClassArgs() const { return mainClassArgs_; }
    const std::map<std::wstring, std::wstring>& getBanners() const { return banners_; }
    int32_t getMinimalJavaVersion() const { return minimalJavaVersion_; }
    // The text the version was read from; empty when the file does not set it.
    const std::wstring& getMinimalJavaVersionText() const { return minimalJavaVersionText_; }

    // The path looked at; empty when no file was looked for.
    const std::wstring& getFileName() const { return fileName_; }
    bool isFileRead() const { return fileRead_; }
    bool hasError() const { return !errorText_.empty(); }
    const std::wstring& getErrorText() const { return errorText_; }
    // The exit code of a failed read, 0 otherwise.
    int getErrorCode() const { return errorCode_; }

    void logState(ILogger& logger) const;

  private:
    SimpleOptional<std::wstring> getValue(const std::wstring& key) const;
    void walk(IOsUtilsFactory& os, const YamlNode& root, const std::wstring& instanceDirectory);
    const YamlNode* readList(IOsUtilsFactory& os, const YamlNode& key,
                             const std::wstring& instanceDirectory,
                             std::vector<std::wstring>& list);
    void readBanners(IOsUtilsFactory& os, const YamlNode& banner,
                     const std::wstring& instanceDirectory);
    void readMinimalJavaVersion(const YamlNode& node);
    [[noreturn]] void failWrongStructure() const;

    std::wstring fileName_;
    std::map<std::wstring, std::wstring> values_;
    std::vector<std::wstring> jvmOpts_;
    std::vector<std::wstring> mainClassArgs_;
    std::map<std::wstring, std::wstring> banners_;
    int32_t minimalJavaVersion_ = kDefaultMinimalJavaVersion;
    std::wstring minimalJavaVersionText_;
    bool fileRead_ = false;
    std::wstring errorText_;
    int errorCode_ = 0;
};
