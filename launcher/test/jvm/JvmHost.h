#pragma once

#include <map>
#include <string>
#include <vector>

#include "support/ProcessRunner.h"

// A JDK the host can run on, with its feature version (17 for "17.0.9").
struct JavaHome {
    std::string path;
    int feature;
    std::string libjvm() const { return path + "/lib/server/libjvm.so"; }
};

// The JDK the build found (its javac compiled the fixtures) first, then any
// other one under /usr/lib/jvm.
std::vector<JavaHome> installedJdks();

// One run of the JVM test host: how it ended, the facts it printed and its log.
struct JvmHostRun {
    ProcessRunner::Result process;
    std::map<std::string, std::string> printed;
    std::string log;

    // The fact's value, or "<no KEY>" so a missing one reads well in a failure.
    std::string fact(const std::string& key) const;
    // The facts of space-separated keys, joined with " | ".
    std::string facts(const std::string& keys) const;
    // How many log messages start with text.
    long logged(const std::string& text) const;
};

// Runs scenario "life" or "calls" with a contract class (dotted for life, as the
// launcher is given it).
JvmHostRun runJvmHost(const std::string& scenario, const JavaHome& home, int minimalVersion,
                      const std::string& contractClass,
                      const std::vector<std::string>& dependencies = {});
