#include "discovery/ReleaseFileRules.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cwchar>

#include "platform/TextConversion.h"

namespace {

constexpr std::wstring_view kArchitectureKey = L"OS_ARCH=";
constexpr std::wstring_view kVersionKey = L"JAVA_VERSION=";

std::wstring_view withoutQuotes(std::wstring_view value) {
    if (value.size() >= 2 && value.front() == L'"' && value.back() == L'"') {
        return value.substr(1, value.size() - 2);
    }
    return value;
}

// The number up to the first "." or "-"; a number that does not convert as a
// whole (an "ea" suffix glued to it, a stray quote, an overflow) counts as -1
// so that it fails every sensible minimum instead of passing by accident.
int leadingNumber(std::wstring_view text) {
    const std::wstring number(text.substr(0, text.find_first_of(L".-")));
    wchar_t* stop = nullptr;
    errno = 0;
    const long value = std::wcstol(number.c_str(), &stop, 10);
    if (errno == ERANGE || stop == number.c_str() || *stop != L'\0' || value < INT_MIN ||
        value > INT_MAX) {
        return -1;
    }
    return static_cast<int>(value);
}

bool architectureAccepted(std::wstring_view line,
                          std::span<const std::wstring_view> acceptedArchitectures) {
    if (line.find(L"64") == std::wstring_view::npos) {
        return false;
    }
    if (acceptedArchitectures.empty()) {
        return true;
    }
    const std::wstring_view value = withoutQuotes(line.substr(kArchitectureKey.size()));
    return std::find(acceptedArchitectures.begin(), acceptedArchitectures.end(), value) !=
           acceptedArchitectures.end();
}

// False when the value cannot satisfy minimalVersion; the verdict keeps what was read.
bool versionAccepted(std::wstring_view value, int minimalVersion, ReleaseFileVerdict& verdict) {
    if (value.size() < 2) {
        return false;
    }
    if (value.front() == L'"' && value.back() == L'"') {
        value = value.substr(1, value.size() - 2);
        if (value.size() < 2) {
            return false;
        }
    }
    verdict.version.assign(value);
    // Before Java 9 the major version came second, as in 1.8.0_292.
    if (value.starts_with(L"1.") || value.starts_with(L"1-")) {
        if (value.size() < 3) {
            return false;
        }
        verdict.majorVersion = leadingNumber(value.substr(2));
    } else {
        verdict.majorVersion = leadingNumber(value);
    }
    return minimalVersion <= verdict.majorVersion;
}

}  // namespace

ReleaseFileVerdict judgeReleaseFile(std::string_view bytes, int minimalVersion,
                                    std::span<const std::wstring_view> acceptedArchitectures) {
    std::string text(bytes);
    std::replace(text.begin(), text.end(), '\r', '\n');
    const std::wstring wide = toWide(text);

    ReleaseFileVerdict verdict;
    bool architectureSeen = false;
    bool versionSeen = false;
    size_t start = 0;
    while (start < wide.size()) {
        size_t end = wide.find(L'\n', start);
        if (end == std::wstring::npos) {
            end = wide.size();
        }
        const std::wstring_view line(wide.data() + start, end - start);
        start = end + 1;
        if (line.starts_with(kArchitectureKey)) {
            architectureSeen = true;
            if (!architectureAccepted(line, acceptedArchitectures)) {
                return verdict;
            }
        } else if (line.starts_with(kVersionKey)) {
            versionSeen = true;
            if (!versionAccepted(line.substr(kVersionKey.size()), minimalVersion, verdict)) {
                return verdict;
            }
        }
    }
    verdict.suitable = architectureSeen && versionSeen;
    return verdict;
}
