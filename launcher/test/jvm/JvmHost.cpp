#include "jvm/JvmHost.h"

#include <dirent.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <climits>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string realPath(const std::string& path) {
    char buffer[PATH_MAX];
    return realpath(path.c_str(), buffer) != nullptr ? buffer : path;
}

// JAVA_VERSION="17.0.9" gives 17; an old "1.8.0_292" gives 8.
int featureFromRelease(const std::string& home) {
    std::string release = readText(home + "/release");
    std::string key = "JAVA_VERSION=\"";
    size_t at = release.find(key);
    if (at == std::string::npos) {
        return 0;
    }
    at += key.size();
    if (release.compare(at, 2, "1.") == 0) {
        at += 2;
    }
    int feature = 0;
    while (at < release.size() && std::isdigit(static_cast<unsigned char>(release[at]))) {
        feature = feature * 10 + (release[at++] - '0');
    }
    return feature;
}

std::optional<JavaHome> javaHomeAt(const std::string& path) {
    JavaHome home{path, path + "/lib/server/libjvm.so", featureFromRelease(path)};
    if (access(home.libjvm.c_str(), R_OK) != 0 || home.feature == 0) {
        return std::nullopt;
    }
    return home;
}

std::string unescape(const std::string& value) {
    std::string text;
    for (size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '\\' && i + 1 < value.size()) {
            ++i;
            text += value[i] == 'n' ? '\n' : value[i];
        } else {
            text += value[i];
        }
    }
    return text;
}

}  // namespace

std::vector<std::string> splitAtNewlines(const std::string& text) {
    std::vector<std::string> lines;
    std::stringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        lines.push_back(line);
    }
    return lines;
}

JavaHome primaryJavaHome() {
    std::optional<JavaHome> home = javaHomeAt(JVM_TEST_JAVA_HOME);
    if (!home) {
        throw std::runtime_error("no usable JDK at " + std::string(JVM_TEST_JAVA_HOME));
    }
    return *home;
}

std::optional<JavaHome> secondJavaHome() {
    const std::string primary = realPath(JVM_TEST_JAVA_HOME);
    std::vector<std::string> candidates;
    if (DIR* dir = opendir("/usr/lib/jvm")) {
        while (dirent* entry = readdir(dir)) {
            std::string name = entry->d_name;
            if (name != "." && name != "..") {
                candidates.push_back(realPath("/usr/lib/jvm/" + name));
            }
        }
        closedir(dir);
    }
    std::sort(candidates.begin(), candidates.end());
    for (const std::string& candidate : candidates) {
        if (candidate != primary) {
            if (std::optional<JavaHome> home = javaHomeAt(candidate)) {
                return home;
            }
        }
    }
    return std::nullopt;
}

std::string JvmHostRun::fact(const std::string& key) const {
    auto found = facts.find(key);
    return found == facts.end() ? "<no fact " + key + ">" : found->second;
}

std::vector<std::string> JvmHostRun::allLogMessages() const {
    std::vector<std::string> messages;
    for (const std::string& line : splitAtNewlines(log)) {
        size_t at = line.find(",message=");
        if (at != std::string::npos) {
            messages.push_back(line.substr(at + 9));
        }
    }
    return messages;
}

std::vector<std::string> JvmHostRun::logMessages(const std::string& text) const {
    std::vector<std::string> matching;
    for (const std::string& message : allLogMessages()) {
        if (message.compare(0, text.size(), text) == 0) {
            matching.push_back(message);
        }
    }
    return matching;
}

JvmHostRun runJvmHost(const std::string& scenario, const JavaHome& home, int minimalVersion,
                      const std::vector<std::string>& dependencies) {
    char directory[] = "/tmp/launcher-jvm-test-XXXXXX";
    if (mkdtemp(directory) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    const std::string logPath = std::string(directory) + "/launcher.log";

    JvmHostRun run;
    std::vector<std::string> args = {scenario, home.libjvm, JVM_FIXTURE_CLASSES, logPath,
                                     std::to_string(minimalVersion)};
    args.insert(args.end(), dependencies.begin(), dependencies.end());
    ProcessRunner host(JVM_TEST_HOST);
    host.args(args).env("LANG", "C").env("LC_ALL", "C").timeout(std::chrono::seconds(30));
#if defined(__SANITIZE_ADDRESS__)
    // A sanitized host: HotSpot handles SIGSEGV itself, and its threads are still
    // alive when the leak check would run at exit.
    host.env("ASAN_OPTIONS", "detect_leaks=0:handle_segv=0");
#endif
    run.process = host.run();
    run.log = readText(logPath);
    unlink(logPath.c_str());
    rmdir(directory);

    for (const std::string& line : splitAtNewlines(run.process.out)) {
        size_t equals = line.find('=');
        if (equals != std::string::npos) {
            run.facts[line.substr(0, equals)] = unescape(line.substr(equals + 1));
        }
    }
    return run;
}

int fixtureLine(const std::string& javaFile, const std::string& marker) {
    std::vector<std::string> lines =
        splitAtNewlines(readText(std::string(JVM_FIXTURE_SOURCES) + "/contract/" + javaFile));
    for (size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].find("// frame:" + marker) != std::string::npos) {
            return static_cast<int>(i + 1);
        }
    }
    throw std::runtime_error("no marker " + marker + " in " + javaFile);
}
