#pragma once

#include <string>
#include <vector>

#include "cli/CliMode.h"
#include "cli/CliParseResult.h"

// Parses a command line of the form "mode [entries...]" against declared modes
// and writes their usage. The first mode declared is the one used when the
// command line names none, and the one a request for help or version reports.
class CliParser {
  public:
    // Descriptions are wrapped to keep usage within this many columns.
    static constexpr size_t kUsageWidth = 80;

    void addMode(CliMode mode);

    // The arguments without the program name. An option takes the next argument
    // as its value whatever it looks like, or the text after "=" in "--name=value".
    CliParseResult parse(const std::vector<std::wstring>& args) const;

    // The usage of a mode (the first mode when the name is unknown), without a
    // final line end.
    std::wstring getUsage(const std::wstring& programName, const std::wstring& modeName) const;

  private:
    const CliMode* findMode(const std::wstring& name) const;

    std::vector<CliMode> modes_;
};
