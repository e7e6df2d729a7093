#pragma once

#include <string>
#include <vector>

#include "platform/Logger.h"
#include "support/LogLines.h"
#include "support/TempDir.h"

// A real log file for the length of a test, read back line by line.
class CapturedLog {
  public:
    CapturedLog() {
        resetLoggerForTesting();
        initLogger(dir_.wpath("launcher.log"));
    }
    ~CapturedLog() {
        shutdownLogger();
        resetLoggerForTesting();
    }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    std::vector<LogLine> lines() {
        getLogger().flush();
        return parseLogLines(readWholeFile(dir_.path("launcher.log")));
    }
    // "LEVEL message" of each line whose message, key/value pairs included, starts so.
    std::vector<std::string> find(const std::string& prefix) {
        std::vector<std::string> found;
        for (const LogLine& line : lines()) {
            if (line.message.starts_with(prefix)) {
                found.push_back(line.level + " " + line.message);
            }
        }
        return found;
    }

  private:
    TempDir dir_;
};
