#pragma once

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "platform/TextConversion.h"

// A fresh directory under $TMPDIR (or /tmp), removed with everything in it at
// the end of the test.
class TempDir {
  public:
    TempDir() {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base && *base ? base : "/tmp") + "/launcher-test-XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("mkdtemp failed for " + pattern);
        }
        // The real path, so that it compares equal to resolved paths.
        path_ = std::filesystem::canonical(pattern);
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    std::string path(const std::string& name) const { return path_ + "/" + name; }
    std::wstring wpath(const std::string& name = std::string()) const {
        return toWide(name.empty() ? path_ : path(name));
    }
    // Replaces what was there.
    void write(const std::string& name, const std::string& content) const {
        if (!(std::ofstream(path(name), std::ios::binary) << content)) {
            throw std::runtime_error("cannot write " + path(name));
        }
    }
    void mkdir(const std::string& name) const { std::filesystem::create_directory(path(name)); }

  private:
    std::string path_;
};

// Empty when it cannot be read.
inline std::string readWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline bool pathExists(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0;
}
