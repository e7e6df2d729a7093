#include "JavaHomeSearch.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "discovery/JavaLibResolver.h"
#include "discovery/ReleaseFileRules.h"
#include "platform/IFileUtils.h"
#include "platform/TextConversion.h"

namespace {

std::string errorText(int error) {
    char buffer[256];
    return strerror_r(error, buffer, sizeof(buffer));
}

std::string join(const std::string& directory, const char* name) {
    if (!directory.empty() && directory.back() == '/') {
        return directory + name;
    }
    return directory + "/" + name;
}

bool exists(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0;
}

bool isDirectory(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// The release file's bytes; false when it is absent, unreadable or larger than
// the launcher would read. The open does not wait: a FIFO in the place of the
// file would block it for ever, and it is refused by the check that follows.
bool readReleaseFile(const std::string& home, std::string& bytes) {
    const int fd = open(join(home, "release").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    struct stat status;
    bool ok = fstat(fd, &status) == 0 && S_ISREG(status.st_mode) &&
              static_cast<size_t>(status.st_size) <= IFileUtils::kMaxFileSize;
    if (ok) {
        bytes.resize(static_cast<size_t>(status.st_size));
        size_t done = 0;
        while (ok && done < bytes.size()) {
            const ssize_t got = read(fd, bytes.data() + done, bytes.size() - done);
            if (got < 0 && errno == EINTR) {
                continue;
            }
            ok = got > 0;
            done += ok ? static_cast<size_t>(got) : 0;
        }
    }
    close(fd);
    return ok;
}

bool hasJvmLibrary(const std::string& home) {
    for (std::wstring_view directory : JavaLibResolver::kCandidateDirectories) {
        std::wstring relative(directory);
        relative += JavaLibResolver::kLibraryName;
        if (exists(home + toUtf8(relative))) {
            return true;
        }
    }
    return false;
}

// The numbers of a version in order, so 17.0.15 ranks above 17.0.9 and the old
// 1.8.0_292 reads as 8.0.292.
std::vector<unsigned long> versionNumbers(std::wstring_view version) {
    if (version.starts_with(L"1.") || version.starts_with(L"1-")) {
        version.remove_prefix(2);
    }
    std::vector<unsigned long> numbers;
    bool inNumber = false;
    for (wchar_t c : version) {
        if (c >= L'0' && c <= L'9') {
            if (!inNumber) {
                numbers.push_back(0);
                inNumber = true;
            }
            unsigned long& n = numbers.back();
            n = n > (ULONG_MAX - 9) / 10 ? ULONG_MAX : n * 10 + (c - L'0');
        } else {
            inNumber = false;
        }
    }
    return numbers;
}

constexpr std::array<std::wstring_view, 2> kX86_64 = {L"x86_64", L"amd64"};
constexpr std::array<std::wstring_view, 2> kAarch64 = {L"aarch64", L"arm64"};
constexpr std::array<std::wstring_view, 1> kPpc64le = {L"ppc64le"};
constexpr std::array<std::wstring_view, 1> kRiscv64 = {L"riscv64"};
constexpr std::array<std::span<const std::wstring_view>, 4> kArchitectures = {kX86_64, kAarch64,
                                                                              kPpc64le, kRiscv64};

}  // namespace

std::span<const std::wstring_view> architectureNames(const char* architecture) {
    if (architecture == nullptr) {
        return {};
    }
    const std::wstring requested = toWide(architecture);
    for (std::span<const std::wstring_view> names : kArchitectures) {
        for (std::wstring_view name : names) {
            if (name == requested) {
                return names;
            }
        }
    }
    return {};
}

JavaHomeSearch::JavaHomeSearch(int minimalVersion,
                               std::span<const std::wstring_view> acceptedArchitectures)
    : minimalVersion_(minimalVersion), acceptedArchitectures_(acceptedArchitectures) {}

void JavaHomeSearch::addRoot(const std::string& root, bool required) {
    std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(root.c_str()), closedir);
    if (!directory) {
        const int error = errno;
        if (error != ENOENT || required) {
            addError("Cannot read Java search root '" + root + "': " + errorText(error));
        }
        return;
    }
    // A root given by the user may be a Java home itself.
    addHome(root);
    while (const dirent* entry = readdir(directory.get())) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            addHome(join(root, entry->d_name));
        }
    }
}

void JavaHomeSearch::addHome(const std::string& home) {
    if (!isDirectory(home)) {
        return;
    }
    std::unique_ptr<char, void (*)(void*)> resolved(realpath(home.c_str(), nullptr), std::free);
    if (!resolved) {
        return;
    }
    Candidate candidate;
    candidate.path = resolved.get();
    // Links to one home (java-1.17.0-openjdk-amd64 beside java-17-openjdk-amd64)
    // are one home.
    if (!seen_.insert(candidate.path).second) {
        return;
    }
    std::string bytes;
    if (!readReleaseFile(candidate.path, bytes)) {
        return;
    }
    const ReleaseFileVerdict verdict =
        judgeReleaseFile(bytes, minimalVersion_, acceptedArchitectures_);
    if (!verdict.suitable || !hasJvmLibrary(candidate.path)) {
        return;
    }
    candidate.featureVersion = verdict.majorVersion;
    candidate.fullVersion = versionNumbers(verdict.version);
    if (best_.path.empty() || better(candidate)) {
        best_ = std::move(candidate);
    }
}

// Highest feature version, then highest full version, then the smaller path,
// so the same machine always gives the same answer.
bool JavaHomeSearch::better(const Candidate& candidate) const {
    if (candidate.featureVersion != best_.featureVersion) {
        return candidate.featureVersion > best_.featureVersion;
    }
    if (candidate.fullVersion != best_.fullVersion) {
        return candidate.fullVersion > best_.fullVersion;
    }
    return candidate.path < best_.path;
}

void JavaHomeSearch::addError(const std::string& text) {
    if (!errors_.empty()) {
        errors_ += "; ";
    }
    errors_ += text;
}
