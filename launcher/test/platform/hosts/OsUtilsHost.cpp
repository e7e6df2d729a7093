// Prints the process's own arguments as the OS utilities read them, then its
// executable path and directory, each text ended by a NUL byte.
#include <cstdio>
#include <string>
#include <vector>

#include "platform/IOsUtilsFactory.h"
#include "platform/TextConversion.h"

int main() {
    IProcessUtils& process = getOsUtilsFactory().getProcessUtils();
    std::vector<std::wstring> texts = process.getCommandLineArgs();
    texts.push_back(process.getExecutablePath());
    texts.push_back(process.getExecutableDirectory());
    for (const std::wstring& text : texts) {
        const std::string utf8 = toUtf8(text);
        std::fwrite(utf8.c_str(), 1, utf8.size() + 1, stdout);
    }
    return 0;
}
