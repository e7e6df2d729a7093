#include "discovery/JavaLibResolver.h"

#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"

JavaLibResolver::JavaLibResolver(IOsUtilsFactory& os) : os_(os) {}

std::wstring JavaLibResolver::findJvmLibrary(const std::wstring& javaHome) {
    std::wstring tried;
    for (std::wstring_view directory : kCandidateDirectories) {
        // The home is used exactly as given: a trailing "/" makes a double
        // slash, which the OS accepts.
        std::wstring path = javaHome;
        path += directory;
        path += kLibraryName;
        if (os_.getFileUtils().exists(path)) {
            return path;
        }
        tried += tried.empty() ? L"'" : L", '";
        tried += path;
        tried += L"'";
    }
    throw LauncherException(LauncherException::kJvmLoad,
                            formatMessage("IDS_CANNOT_FIND_JVMLIB", tried));
}

std::vector<std::wstring> JavaLibResolver::getExtraLibraries(const std::wstring&) {
    return {};
}

bool JavaLibResolver::hasMessage() const {
    return !message_.empty();
}

const std::wstring& JavaLibResolver::getMessage() const {
    return message_;
}
