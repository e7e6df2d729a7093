// Prints the process's own arguments as the OS utilities read them, then its
// executable path and directory, each text ended by a NUL byte.
#include <cstdio>
#include <string>

#include "platform/IOsUtilsFactory.h"
#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

int main() {
    IOsUtilsFactory& os = getOsUtilsFactory();
    LocalizationSupport catalogue(os.getSystemUtils());
    try {
        for (const std::wstring& arg : os.getProcessUtils().getCommandLineArgs()) {
            std::string utf8 = toUtf8(arg);
            std::fwrite(utf8.c_str(), 1, utf8.size() + 1, stdout);
        }
        for (const std::wstring& path : {os.getProcessUtils().getExecutablePath(),
                                         os.getProcessUtils().getExecutableDirectory()}) {
            std::string utf8 = toUtf8(path);
            std::fwrite(utf8.c_str(), 1, utf8.size() + 1, stdout);
        }
    } catch (const LauncherException& e) {
        std::printf("%s", toUtf8(e.getMessage()).c_str());
        return e.getCode();
    }
    return 0;
}
