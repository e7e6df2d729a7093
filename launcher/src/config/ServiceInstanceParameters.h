#pragma once

#include <string>
#include <vector>

#include "config/IServiceInstanceParameters.h"
#include "platform/IOsUtilsFactory.h"

// Reads the ini file that packaging installs for a service, JAVA_HOME and
// JAVA_OPT lines, under a fixed system directory.
class ServiceInstanceParameters : public IServiceInstanceParameters {
  public:
    static constexpr const wchar_t* kConfigDirectory = L"/etc/default/Orvik/Tamsel/";

    // The directory is replaced only by tests; the launcher always uses the fixed one.
    ServiceInstanceParameters(IOsUtilsFactory& os, std::wstring serviceName,
                              std::wstring configDirectory = kConfigDirectory);

    void read() override;
    SimpleOptional<std::wstring> getJavaHome() const override;
    const std::vector<std::wstring>& getJvmOptions() const override { return jvmOptions_; }
    void logState(ILogger& logger) const override;

    const std::wstring& getServiceName() const { return serviceName_; }
    // The ini file's path; empty without a service name.
    const std::wstring& getFileName() const { return fileName_; }
    const std::wstring& getErrorText() const { return errorText_; }
    const std::vector<std::wstring>& getUnknownOptions() const { return unknownOptions_; }
    bool isFileRead() const { return fileRead_; }

  private:
    void parse(const std::wstring& text);

    IOsUtilsFactory& os_;
    std::wstring configDirectory_;
    std::wstring serviceName_;
    std::wstring javaHome_;
    std::vector<std::wstring> jvmOptions_;
    std::wstring fileName_;
    std::wstring errorText_;
    std::vector<std::wstring> unknownOptions_;
    bool fileRead_ = false;
};
