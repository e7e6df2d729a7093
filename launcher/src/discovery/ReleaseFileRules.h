#pragma once

#include <span>
#include <string>
#include <string_view>

// What a Java home's "release" file says about the minimal Java version asked
// for. The launcher's checker and the inventory library both judge homes with
// it, so a home one of them accepts is never refused by the other.
struct ReleaseFileVerdict {
    bool suitable = false;
    // The major version of the last JAVA_VERSION line read, -1 when there was
    // none or its number was not clean.
    int majorVersion = -1;
    // That line's value without its surrounding quotes.
    std::wstring version;
};

// bytes: the file as read from disk. When acceptedArchitectures is not empty,
// every OS_ARCH value (quotes removed) must also be one of them; the launcher
// passes none, because it only insists on a 64-bit runtime.
ReleaseFileVerdict judgeReleaseFile(std::string_view bytes, int minimalVersion,
                                    std::span<const std::wstring_view> acceptedArchitectures = {});
