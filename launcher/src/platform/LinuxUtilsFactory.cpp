#include "platform/LinuxUtilsFactory.h"

#include "platform/LinuxConsole.h"

IFileUtils& LinuxUtilsFactory::getFileUtils() {
    return fileUtils_;
}

IProcessUtils& LinuxUtilsFactory::getProcessUtils() {
    return processUtils_;
}

ISystemUtils& LinuxUtilsFactory::getSystemUtils() {
    return systemUtils_;
}

IServiceManagerNotifier& LinuxUtilsFactory::getServiceManagerNotifier() {
    return serviceManagerNotifier_;
}

const std::wstring& LinuxUtilsFactory::getLineSeparator() const {
    // Never destroyed, like the factory itself.
    static const std::wstring* const separator = new std::wstring(L"\n");
    return *separator;
}

std::unique_ptr<IConsole> LinuxUtilsFactory::createConsole(const std::wstring& coutPath,
                                                           const std::wstring& cerrPath,
                                                           std::wstring& errorText) {
    return std::make_unique<LinuxConsole>(coutPath, cerrPath, errorText);
}

IOsUtilsFactory& getOsUtilsFactory() {
    // Created on first use and never destroyed: JVM threads may still log or
    // sleep while the process runs its exit handlers.
    static LinuxUtilsFactory* const factory = new LinuxUtilsFactory();
    return *factory;
}
