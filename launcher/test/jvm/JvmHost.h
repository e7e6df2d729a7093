#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/ProcessRunner.h"

// A JDK the JVM tests can run the host against.
struct JavaHome {
    std::string path;
    std::string libjvm;
    // The feature version from the home's release file (17 for "17.0.9").
    int feature = 0;
};

// The JDK the build found (the one whose javac compiled the fixtures).
JavaHome primaryJavaHome();
// Another JDK under /usr/lib/jvm, if the machine has one.
std::optional<JavaHome> secondJavaHome();

// One run of the JVM test host: how it ended, the facts it printed and its log.
struct JvmHostRun {
    ProcessRunner::Result process;
    std::map<std::string, std::string> facts;
    std::string log;

    // The fact's value, or "<no fact KEY>" so a missing one reads well in a failure.
    std::string fact(const std::string& key) const;
    bool hasFact(const std::string& key) const { return facts.count(key) != 0; }
    // The log lines whose message (the text after "message=") starts with text.
    std::vector<std::string> logMessages(const std::string& text) const;
    // Every log message, in order.
    std::vector<std::string> allLogMessages() const;
};

JvmHostRun runJvmHost(const std::string& scenario, const JavaHome& home, int minimalVersion,
                      const std::vector<std::string>& dependencies = {});

// The 1-based line of the fixture source that holds "// frame:<marker>".
int fixtureLine(const std::string& javaFile, const std::string& marker);

std::vector<std::string> splitAtNewlines(const std::string& text);
