#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "support/LauncherRunner.h"
#include "support/TempDir.h"

// A file name that is not valid UTF-8 to its end. Cut at the bad byte, as other
// texts are, it would name another file; the launcher refuses it instead and
// touches no file at all.
namespace {

namespace fs = std::filesystem;

std::set<std::string> namesIn(const std::string& directory) {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        names.insert(entry.path().string());
    }
    return names;
}

TEST(BadPathsThroughLauncherTest, AFileNameThatIsNotUtf8IsRefusedAndNoFileIsTouched) {
    TempDir dir;
    const std::string important = dir.path("important");
    const std::string bad = important + "\xE9.log";
    dir.write("important", "keep me\n");
    for (const char* key : {"log-file", "pid-file"}) {
        fs::create_directories(dir.path(key));
        dir.write(std::string(key) + "/launcher.yml",
                  "launcher-parameters:\n  " + std::string(key) + ": " + bad + "\n");
    }
    const std::set<std::string> before = namesIn(dir.path());
    auto refused = [&](const std::string& option) {
        return "1 Option " + option + ": the path is not valid UTF-8 text: '" + important + "'\n";
    };
    auto refusedInFile = [&](const std::string& key) {
        return "2 Error reading file '" + dir.path(key) + "/launcher.yml'. The value of '" + key +
               "' is not valid UTF-8 text.\n";
    };
    const std::pair<std::string, std::vector<std::string>> rows[] = {
        {refused("--clog"), {"start", "--clog", bad}},
        {refused("--pidfile"), {"start", "--pidfile=" + bad}},
        {refused("--cout"), {"start", "--cout", bad}},
        {refused("--pidfile"), {"stop", "--pidfile", bad}},
        {refusedInFile("log-file"), {"start", "--instance", dir.path("log-file")}},
        {refusedInFile("pid-file"), {"start", "--instance", dir.path("pid-file")}},
    };
    for (auto [expected, args] : rows) {
        if (args[0] == "start") {
            args.insert(args.end(), {"--quiet", "--jvmdll", dir.path("none.so"), "--jclasspath",
                                     dir.path(), "--jifaceclass", "contract.Missing"});
        }
        EXPECT_EQ(expected, launcherRunner(args).run().summary());
        EXPECT_EQ("keep me\n", readWholeFile(important)) << args[1];
        EXPECT_EQ(before, namesIn(dir.path())) << args[1];
    }
}

}  // namespace
