#pragma once

#include <ftw.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cstdio>
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
        const char* base = getenv("TMPDIR");
        std::string pattern = std::string(base && *base ? base : "/tmp") + "/launcher-test-XXXXXX";
        char resolved[4096];
        if (mkdtemp(pattern.data()) == nullptr || realpath(pattern.c_str(), resolved) == nullptr) {
            throw std::runtime_error("mkdtemp failed for " + pattern);
        }
        // The real path, so that it compares equal to resolved paths.
        path_ = resolved;
    }
    ~TempDir() {
        nftw(
            path_.c_str(), [](const char* p, const struct stat*, int, FTW*) { return ::remove(p); },
            16, FTW_DEPTH | FTW_PHYS);
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
        if (!(std::ofstream(path(name), std::ios::binary | std::ios::trunc) << content)) {
            throw std::runtime_error("cannot write " + path(name));
        }
    }
    void mkdir(const std::string& name) const {
        if (::mkdir(path(name).c_str(), 0777) != 0) {
            throw std::runtime_error("cannot create " + path(name));
        }
    }

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
