// Prints, one per line, the process's own arguments as the OS utilities read
// them ("arg <byte count> <bytes>"), then its executable path and directory.
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
            std::printf("arg %zu %s\n", utf8.size(), utf8.c_str());
        }
        std::printf("exe %s\n", toUtf8(os.getProcessUtils().getExecutablePath()).c_str());
        std::printf("dir %s\n", toUtf8(os.getProcessUtils().getExecutableDirectory()).c_str());
    } catch (const LauncherException& e) {
        std::printf("error %s\n", toUtf8(e.getMessage()).c_str());
        return e.getCode();
    }
    return 0;
}
