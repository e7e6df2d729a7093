#include "platform/LinuxSystemUtils.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <clocale>
#include <cstring>

#include "platform/LocalTime.h"
#include "platform/LocalizationSupport.h"
#include "platform/PosixLibraryHandle.h"
#include "platform/TextConversion.h"

namespace {

// The locale the environment asks for (LC_ALL, LC_CTYPE, LANG), cut at the first
// of the given characters; C and POSIX stand for the fallback.
std::wstring environmentLocale(const char* cutAt, const wchar_t* fallback) {
    const char* name = std::setlocale(LC_CTYPE, "");
    if (name == nullptr || *name == '\0' || std::strcmp(name, "C") == 0 ||
        std::strcmp(name, "POSIX") == 0) {
        return fallback;
    }
    return toWide(std::string(name, std::strcspn(name, cutAt)));
}

}  // namespace

std::wstring LinuxSystemUtils::getCurrentTimeText() {
    return toWide(localTimeStamp());
}

std::wstring LinuxSystemUtils::getLastErrorText() {
    return errorText(errno);
}

std::wstring LinuxSystemUtils::errorText(int errorNumber) {
    // The GNU strerror_r, because log and sleep calls come from JVM threads too.
    char buffer[256];
    const char* text = strerror_r(errorNumber, buffer, sizeof(buffer));
    return L"(" + toText(static_cast<long>(errorNumber)) + L") " + toWide(text);
}

std::wstring LinuxSystemUtils::getLocaleName() {
    return environmentLocale(".@", L"en_US");
}

std::wstring LinuxSystemUtils::getLanguage() {
    return environmentLocale("_.@", L"en");
}

std::shared_ptr<ILibraryHandle> LinuxSystemUtils::loadLibrary(const std::wstring& path) {
    const std::string file = toUtf8(path);
    // dlopen would wait for ever on a FIFO in the place of the library. A name
    // without a slash is looked for along the library path, and left to dlopen.
    struct stat info {};
    if (file.find('/') != std::string::npos && stat(file.c_str(), &info) == 0 &&
        !S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) {
        return std::make_shared<PosixLibraryHandle>(
            nullptr, path + L": " + LocalizationSupport::getText("IDS_NOT_A_REGULAR_FILE"));
    }
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (handle == nullptr) {
        return std::make_shared<PosixLibraryHandle>(nullptr, toWide(dlerror()));
    }
    return std::make_shared<PosixLibraryHandle>(handle, std::wstring());
}
