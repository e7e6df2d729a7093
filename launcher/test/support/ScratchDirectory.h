#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

#include "platform/TextConversion.h"

// A fresh directory under the system's temporary directory, removed with everything
// in it at the end of the test.
class ScratchDirectory {
  public:
    ScratchDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "launcher-XXXXXX").string();
        path_ = mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::string& path() const { return path_; }
    // A path inside the directory, as the launcher takes paths.
    std::wstring file(const std::string& name) const { return toWide(path_ + "/" + name); }

  private:
    std::string path_;
};
