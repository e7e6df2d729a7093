#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/IFileUtils.h"
#include "platform/LauncherOsException.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

// Files and directories in memory. Relative paths start at currentDirectory and
// "a//b/./c/.." is "/cwd/a/b", so a test may name a file either way. Failures
// throw the real texts (so they need a catalogue); a path given to failOn fails
// with permission denied.
class FakeFileUtils : public IFileUtils {
  public:
    // Adds a file and every directory above it.
    void addFile(const std::wstring& path, const std::string& content = std::string()) {
        const std::wstring full = normalize(path);
        addDirectory(parentOf(full));
        files_[full] = content;
    }
    void addDirectory(const std::wstring& path) {
        for (std::wstring dir = normalize(path); dir != L"/"; dir = parentOf(dir)) {
            directories_.insert(dir);
        }
    }
    bool hasFile(const std::wstring& path) const { return files_.count(normalize(path)) != 0; }
    // The content of a file; empty when it does not exist.
    std::string contentOf(const std::wstring& path) const {
        auto found = files_.find(normalize(path));
        return found == files_.end() ? std::string() : found->second;
    }
    void failOn(const std::wstring& path) { failing_.insert(normalize(path)); }

    void createDirectories(const std::wstring& path) override { addDirectory(path); }
    void createParentDirectories(const std::wstring& filePath) override {
        addDirectory(parentOf(normalize(filePath)));
    }
    // Creates nothing, as the real one.
    std::wstring prepareFileForAppend(const std::wstring& path) override {
        const std::wstring full = checked("IDS_FILE_READ_ERROR", path);
        fail("IDS_FILE_READ_ERROR", path, L"(2) No such file or directory",
             directories_.count(parentOf(full)) == 0);
        return full;
    }
    std::wstring toAbsolutePath(const std::wstring& path) override { return normalize(path); }
    // Any file a test adds is a 64-bit library.
    int getElfClass(const std::wstring& libraryPath) override {
        readFile(libraryPath);
        return 1;
    }
    wchar_t getPathListSeparator() const override { return L':'; }
    bool exists(const std::wstring& path) override {
        const std::wstring full = checked("IDS_FILE_READ_ERROR", path);
        return files_.count(full) != 0 || directories_.count(full) != 0;
    }
    bool isDirectory(const std::wstring& path) override {
        return directories_.count(normalize(path)) != 0;
    }
    bool deleteFile(const std::wstring& path) override {
        return files_.erase(checked("IDS_CANNOT_DELETE_FILE", path)) != 0;
    }
    std::unique_ptr<FileContent> readFile(const std::wstring& path) override {
        const std::wstring full = checked("IDS_FILE_READ_ERROR", path);
        fail("IDS_FILE_READ_ERROR", path,
             isDirectory(path) ? L"(21) Is a directory" : L"(2) No such file or directory",
             files_.count(full) == 0);
        auto result = std::make_unique<FileContent>(path, files_[full].size());
        files_[full].copy(result->data(), files_[full].size());
        return result;
    }
    void writeFile(const char* data, size_t size, const std::wstring& path) override {
        const std::wstring full = checked("IDS_FILE_WRITE_ERROR", path);
        fail("IDS_FILE_WRITE_ERROR", path, L"(21) Is a directory", isDirectory(path));
        files_[full].assign(data, size);
    }
    // Wildcard class paths are only ever resolved against real directories.
    std::vector<std::wstring> listFiles(const std::wstring&, const std::wstring&) override {
        throw std::logic_error("FakeFileUtils::listFiles is not faked");
    }

    std::wstring normalize(const std::wstring& path) const {
        const std::wstring joined = path.starts_with(L'/') ? path : currentDirectory + L"/" + path;
        std::wstring full = toWide(std::filesystem::path(toUtf8(joined)).lexically_normal());
        return full.size() > 1 && full.back() == L'/' ? full.substr(0, full.size() - 1) : full;
    }

    std::wstring currentDirectory = L"/";

  private:
    static std::wstring parentOf(const std::wstring& full) {
        return toWide(std::filesystem::path(toUtf8(full)).parent_path());
    }
    static void fail(const char* id, const std::wstring& path, const wchar_t* error, bool when) {
        if (when) {
            throw LauncherOsException(formatMessage(id, path, std::wstring(error)));
        }
    }
    std::wstring checked(const char* id, const std::wstring& path) const {
        const std::wstring full = normalize(path);
        fail(id, path, L"(13) Permission denied", failing_.count(full) != 0);
        return full;
    }

    std::map<std::wstring, std::string> files_;
    std::set<std::wstring> directories_{L"/"};
    std::set<std::wstring> failing_;
};
