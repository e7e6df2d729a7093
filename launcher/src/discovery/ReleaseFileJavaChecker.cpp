#include "discovery/ReleaseFileJavaChecker.h"

#include "discovery/ReleaseFileRules.h"
#include "platform/IOsUtilsFactory.h"

ReleaseFileJavaChecker::ReleaseFileJavaChecker(IOsUtilsFactory& os) : os_(os) {}

bool ReleaseFileJavaChecker::check(const std::wstring& javaHome, int minimalVersion) {
    const std::wstring path = javaHome + L"/release";
    IFileUtils& files = os_.getFileUtils();
    if (!files.exists(path)) {
        return false;
    }
    const auto content = files.readFile(path);
    return judgeReleaseFile(std::string_view(content->data(), content->size()), minimalVersion)
        .suitable;
}
