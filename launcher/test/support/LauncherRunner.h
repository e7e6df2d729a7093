#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "support/ProcessRunner.h"

// The launcher binary as every test runs it: named "launcher", in the C locale with
// the build's own test locales at hand (LOCPATH), free of the caller's Java, inventory
// and service-manager settings, and killed at the time limit. Tests change what they
// need on the runner it returns.
ProcessRunner launcherRunner(std::vector<std::string> args,
                             const std::string& program = LAUNCHER_BINARY,
                             std::chrono::milliseconds limit = std::chrono::seconds(60));

// Whether a launcher can be run under a process limit as another user: root, setpriv and
// prlimit are needed, since root itself ignores the limit.
bool canLimitProcesses();
