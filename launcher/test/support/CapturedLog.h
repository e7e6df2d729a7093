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
    // The lines whose message, key/value pairs included, is exactly this.
    std::vector<LogLine> withMessage(const std::string& message) {
        std::vector<LogLine> found;
        for (const LogLine& line : lines()) {
            if (line.message == message) {
                found.push_back(line);
            }
        }
        return found;
    }
    size_t countStartingWith(const std::string& prefix) {
        size_t count = 0;
        for (const LogLine& line : lines()) {
            count += line.message.rfind(prefix, 0) == 0 ? 1 : 0;
        }
        return count;
    }
    // The one line with this message; an empty line when there is not exactly one.
    LogLine only(const std::string& message) {
        std::vector<LogLine> found = withMessage(message);
        return found.size() == 1 ? found[0] : LogLine{};
    }

  private:
    TempDir dir_;
};
