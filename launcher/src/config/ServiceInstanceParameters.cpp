#include "config/ServiceInstanceParameters.h"

#include <memory>
#include <utility>

#include "platform/LauncherException.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

namespace {

const wchar_t* const kClassName = L"ServiceInstanceParameters";

std::wstring trimBlanksAndTabs(const std::wstring& text) {
    size_t first = text.find_first_not_of(L" \t");
    if (first == std::wstring::npos) {
        return std::wstring();
    }
    size_t last = text.find_last_not_of(L" \t");
    return text.substr(first, last - first + 1);
}

}  // namespace

ServiceInstanceParameters::ServiceInstanceParameters(IOsUtilsFactory& os, std::wstring serviceName,
                                                     std::wstring configDirectory)
    : os_(os), configDirectory_(std::move(configDirectory)), serviceName_(std::move(serviceName)) {}

void ServiceInstanceParameters::read() {
    if (serviceName_.empty()) {
        return;
    }
    try {
        fileName_ = configDirectory_ + serviceName_;
        IFileUtils& files = os_.getFileUtils();
        if (!files.exists(fileName_)) {
            return;
        }
        std::unique_ptr<FileContent> content = files.readFile(fileName_);
        std::string bytes = content->toString();
        for (char& c : bytes) {
            if (c == '\r') {
                c = '\n';
            }
        }
        parse(toWide(bytes));
        fileRead_ = true;
    } catch (const LauncherException& e) {
        errorText_ = e.getMessage();
        javaHome_.clear();
        jvmOptions_.clear();
        unknownOptions_.clear();
    }
}

void ServiceInstanceParameters::parse(const std::wstring& text) {
    size_t lineStart = 0;
    while (lineStart < text.size()) {
        size_t lineEnd = text.find(L'\n', lineStart);
        if (lineEnd == std::wstring::npos) {
            lineEnd = text.size();
        }
        const std::wstring line = trimBlanksAndTabs(text.substr(lineStart, lineEnd - lineStart));
        lineStart = lineEnd + 1;
        if (line.empty() || line[0] == L'#') {
            continue;
        }
        size_t equals = line.find(L'=');
        if (equals == std::wstring::npos) {
            continue;
        }
        // Blanks before "=" stay in the name, so "JAVA_HOME = x" names no known option.
        const std::wstring name = line.substr(0, equals);
        const std::wstring value = line.substr(equals + 1);
        if (name == L"JAVA_HOME") {
            javaHome_ = trimBlanksAndTabs(value);
        } else if (name == L"JAVA_OPT") {
            // One option per line, blanks and all.
            jvmOptions_.push_back(value);
        } else if (!name.empty()) {
            unknownOptions_.push_back(name);
        }
    }
}

SimpleOptional<std::wstring> ServiceInstanceParameters::getJavaHome() const {
    if (javaHome_.empty()) {
        return SimpleOptional<std::wstring>();
    }
    return javaHome_;
}

void ServiceInstanceParameters::logState(ILogger& logger) const {
    if (!errorText_.empty()) {
        LOG_WARN_TO(logger, kClassName, L"Cannot open service configuration file", L"Exception",
                    errorText_, L"fileName", fileName_, L"serviceName", serviceName_);
    } else if (!fileName_.empty() && !fileRead_) {
        LOG_INFO_TO(logger, kClassName, L"Service configuration file not found", L"fileName",
                    fileName_);
    }
    if (!fileRead_) {
        LOG_INFO_TO(logger, kClassName,
                    L"ServiceInstanceParameters: no parameters read from service ini file",
                    L"fileName", fileName_, L"serviceName", serviceName_);
        return;
    }
    LOG_INFO_TO(logger, kClassName,
                L"Reading service ini file: EOL type was detected by choosing most frequent one",
                L"filename", fileName_);
    for (const std::wstring& name : unknownOptions_) {
        LOG_WARN_TO(logger, kClassName, L"Unknown option in the service ini file", L"fileName",
                    fileName_, L"option", name);
    }
    LOG_INFO_TO(logger, kClassName,
                L"ServiceInstanceParameters: parameters read from service ini file:", L"fileName",
                fileName_, L"JAVA_HOME",
                javaHome_.empty() ? std::wstring(L"<unspecified>") : javaHome_);
    LOG_INFO_TO(logger, kClassName,
                L"ServiceInstanceParameters: JVM options read from service ini file:", L"options",
                jvmOptions_);
}
