#include "jvm/JvmHost.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include "support/LogLines.h"
#include "support/TempDir.h"

std::vector<JavaHome> installedJdks() {
    std::vector<std::filesystem::path> candidates = {JVM_TEST_JAVA_HOME};
    for (const auto& entry : std::filesystem::directory_iterator("/usr/lib/jvm")) {
        candidates.push_back(entry.path());
    }
    std::vector<JavaHome> jdks;
    std::set<std::filesystem::path> seen;
    for (const std::filesystem::path& candidate : candidates) {
        const std::string release = readWholeFile(candidate / "release");
        const size_t at = release.find("JAVA_VERSION=\"");
        if (at != std::string::npos && pathExists(candidate / "lib/server/libjvm.so") &&
            seen.insert(std::filesystem::canonical(candidate)).second) {
            jdks.push_back({candidate, std::stoi(release.substr(at + 14))});
        }
    }
    return jdks;
}

std::string JvmHostRun::fact(const std::string& key) const {
    auto found = printed.find(key);
    return found == printed.end() ? "<no " + key + ">" : found->second;
}

std::string JvmHostRun::facts(const std::string& keys) const {
    std::istringstream in(keys);
    std::string values;
    for (std::string key; in >> key;) {
        values += (values.empty() ? "" : " | ") + fact(key);
    }
    return values;
}

long JvmHostRun::logged(const std::string& text) const {
    const std::vector<LogLine> lines = parseLogLines(log);
    return std::count_if(lines.begin(), lines.end(),
                         [&](const LogLine& line) { return line.message.starts_with(text); });
}

JvmHostRun runJvmHost(const std::string& scenario, const JavaHome& home, int minimalVersion,
                      const std::string& contractClass,
                      const std::vector<std::string>& dependencies) {
    TempDir dir;
    std::vector<std::string> args = {scenario, home.libjvm(), JVM_FIXTURE_CLASSES};
    args.insert(args.end(),
                {dir.path("launcher.log"), std::to_string(minimalVersion), contractClass});
    args.insert(args.end(), dependencies.begin(), dependencies.end());
    ProcessRunner host(JVM_TEST_HOST);
    host.args(args).env("LC_ALL", "C");
#if defined(__SANITIZE_ADDRESS__)
    // HotSpot handles SIGSEGV itself, and its threads are still alive when the
    // leak check would run at exit.
    host.env("ASAN_OPTIONS", "detect_leaks=0:handle_segv=0");
#endif
    JvmHostRun run{host.run(), {}, ""};
    run.log = readWholeFile(dir.path("launcher.log"));
    for (const std::string& line : splitLines(run.process.out)) {
        std::string value;
        for (size_t i = line.find('=') + 1; i > 0 && i < line.size(); ++i) {
            const bool escaped = line[i] == '\\' && i + 1 < line.size();
            value += escaped && line[++i] == 'n' ? '\n' : line[i];
        }
        run.printed[line.substr(0, line.find('='))] = value;
    }
    return run;
}
