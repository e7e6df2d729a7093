#pragma once

#include <regex.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/IFileUtils.h"
#include "platform/LauncherOsException.h"
#include "platform/LocalizationSupport.h"
#include "platform/TextConversion.h"

// Files and directories in memory. Paths are made absolute against
// currentDirectory and normalised ("a//b/./c/.." is "/cwd/a/b"), so a test may
// name a file either way. Failures throw the same messages as the real thing
// (so they need a catalogue); paths in failingPaths fail with permission denied.
class FakeFileUtils : public IFileUtils {
  public:
    static constexpr const wchar_t* kNoSuchFile = L"(2) No such file or directory";
    static constexpr const wchar_t* kNotADirectory = L"(20) Not a directory";
    static constexpr const wchar_t* kIsADirectory = L"(21) Is a directory";
    static constexpr const wchar_t* kPermissionDenied = L"(13) Permission denied";

    // Adds a file and every directory above it.
    void addFile(const std::wstring& path, const std::string& content = std::string()) {
        std::wstring full = normalize(path);
        addDirectoryTree(parentOf(full));
        files[full] = content;
    }
    void addDirectory(const std::wstring& path) { addDirectoryTree(normalize(path)); }
    bool hasFile(const std::wstring& path) const { return files.count(normalize(path)) != 0; }
    // The content of a file; empty when it does not exist.
    std::string contentOf(const std::wstring& path) const {
        auto found = files.find(normalize(path));
        return found == files.end() ? std::string() : found->second;
    }
    void failOn(const std::wstring& path) { failingPaths.insert(normalize(path)); }

    // Creates the directory and all above it (the real one skips a directory
    // right under "." or "/"; tests of that live with the real one).
    void createDirectories(const std::wstring& path) override {
        std::wstring full = normalize(path);
        failIfListed("IDS_UNABLE_TO_RESOLVE_PATH", path, full);
        if (files.count(full) != 0) {
            throw LauncherOsException(
                formatMessage("IDS_FILE_READ_ERROR", path, std::wstring(kNotADirectory)));
        }
        createdDirectories.push_back(path);
        addDirectoryTree(full);
    }
    void createParentDirectories(const std::wstring& filePath) override {
        size_t slash = filePath.rfind(L'/');
        if (slash != std::wstring::npos) {
            createDirectories(filePath.substr(0, slash));
        }
    }
    std::wstring prepareFileForAppend(const std::wstring& path) override {
        std::wstring full = normalize(path);
        failIfListed("IDS_FILE_READ_ERROR", path, full);
        if (files.count(full) == 0) {
            if (directories.count(full) != 0) {
                throwWithError("IDS_FILE_READ_ERROR", path, kIsADirectory);
            }
            if (directories.count(parentOf(full)) == 0) {
                throwWithError("IDS_FILE_READ_ERROR", path, kNoSuchFile);
            }
            files[full] = std::string();
        }
        return full;
    }
    std::wstring toAbsolutePath(const std::wstring& path) override {
        std::wstring full = normalize(path);
        if (path.empty() || !existsNormalized(full)) {
            throwWithError("IDS_UNABLE_TO_CONVERT_PATH_TO_ABS", path, kNoSuchFile);
        }
        return full;
    }
    // Looks at the identification bytes of the stored content, as the real one
    // does with a file on disk.
    int getElfClass(const std::wstring& libraryPath) override {
        std::string content = readContent(libraryPath);
        static const char kMagic[] = {0x7F, 'E', 'L', 'F'};
        if (content.size() < 16 || content.compare(0, 4, kMagic, 4) != 0) {
            throw LauncherOsException(formatMessage("IDS_DLL_NOT_ELF", libraryPath));
        }
        if (content[4] == 1) {
            return 0;
        }
        if (content[4] == 2) {
            return 1;
        }
        throw LauncherOsException(formatMessage("IDS_DLL_UNKNOWN_BINTYPE", libraryPath));
    }
    wchar_t getPathListSeparator() const override { return L':'; }
    bool exists(const std::wstring& path) override {
        std::wstring full = normalize(path);
        failIfListed("IDS_FILE_READ_ERROR", path, full);
        if (underAFile(full)) {
            throwWithError("IDS_FILE_READ_ERROR", path, kNotADirectory);
        }
        return existsNormalized(full);
    }
    bool isDirectory(const std::wstring& path) override {
        return directories.count(normalize(path)) != 0;
    }
    bool deleteFile(const std::wstring& path) override {
        std::wstring full = normalize(path);
        failIfListed("IDS_CANNOT_DELETE_FILE", path, full);
        if (directories.count(full) != 0) {
            throwWithError("IDS_CANNOT_DELETE_FILE", path, kIsADirectory);
        }
        deletedFiles.push_back(path);
        return files.erase(full) != 0;
    }
    std::unique_ptr<FileContent> readFile(const std::wstring& path) override {
        std::string content = readContent(path);
        if (content.size() > kMaxFileSize) {
            throw LauncherOsException(formatMessage("IDS_FILE_TOO_BIG", path));
        }
        auto result = std::make_unique<FileContent>(path, content.size());
        content.copy(result->data(), content.size());
        return result;
    }
    void writeFile(const char* data, size_t size, const std::wstring& path) override {
        std::wstring full = normalize(path);
        failIfListed("IDS_FILE_WRITE_ERROR", path, full);
        if (directories.count(full) != 0) {
            throwWithError("IDS_FILE_WRITE_ERROR", path, kIsADirectory);
        }
        if (directories.count(parentOf(full)) == 0) {
            throwWithError("IDS_FILE_WRITE_ERROR", path, kNoSuchFile);
        }
        files[full] = std::string(data, size);
    }
    // The files right inside the directory whose names match the mask anywhere
    // ("*" is any run, the rest is a basic regular expression), sorted by name.
    std::vector<std::wstring> listFiles(const std::wstring& directory,
                                        const std::wstring& mask) override {
        std::vector<std::wstring> found;
        std::wstring full = normalize(replaceBackslashes(directory));
        if (directories.count(full) == 0) {
            return found;
        }
        std::string expression;
        for (wchar_t c : mask) {
            expression += c == L'*' ? std::string(".*") : toUtf8(std::wstring(1, c));
        }
        regex_t regex;
        if (regcomp(&regex, expression.empty() ? ".*" : expression.c_str(), 0) != 0) {
            throwWithError("IDS_FILE_READ_ERROR", mask, L"(22) Invalid argument");
        }
        for (const auto& [path, content] : files) {
            if (parentOf(path) != full) {
                continue;
            }
            std::string name = toUtf8(path.substr(path.rfind(L'/') + 1));
            if (regexec(&regex, name.c_str(), 0, nullptr, 0) == 0) {
                found.push_back(path);
            }
        }
        regfree(&regex);
        return found;
    }

    // Lexically absolute: relative paths start at currentDirectory.
    std::wstring normalize(const std::wstring& path) const {
        std::wstring joined =
            !path.empty() && path[0] == L'/' ? path : currentDirectory + L"/" + path;
        std::vector<std::wstring> parts;
        size_t start = 0;
        while (start <= joined.size()) {
            size_t end = joined.find(L'/', start);
            if (end == std::wstring::npos) {
                end = joined.size();
            }
            std::wstring part = joined.substr(start, end - start);
            if (part == L"..") {
                if (!parts.empty()) {
                    parts.pop_back();
                }
            } else if (!part.empty() && part != L".") {
                parts.push_back(part);
            }
            start = end + 1;
        }
        std::wstring result;
        for (const std::wstring& part : parts) {
            result += L"/" + part;
        }
        return result.empty() ? L"/" : result;
    }

    std::wstring currentDirectory = L"/";
    std::map<std::wstring, std::string> files;
    std::set<std::wstring> directories{L"/"};
    std::set<std::wstring> failingPaths;
    // What the code under test asked for, as it asked.
    std::vector<std::wstring> createdDirectories;
    std::vector<std::wstring> deletedFiles;

  private:
    static std::wstring parentOf(const std::wstring& full) {
        size_t slash = full.rfind(L'/');
        return slash == 0 || slash == std::wstring::npos ? L"/" : full.substr(0, slash);
    }
    static std::wstring replaceBackslashes(std::wstring path) {
        for (wchar_t& c : path) {
            if (c == L'\\') {
                c = L'/';
            }
        }
        return path;
    }
    [[noreturn]] static void throwWithError(const char* id, const std::wstring& path,
                                            const wchar_t* error) {
        throw LauncherOsException(formatMessage(id, path, std::wstring(error)));
    }
    void failIfListed(const char* id, const std::wstring& path, const std::wstring& full) const {
        if (failingPaths.count(full) != 0) {
            throwWithError(id, path, kPermissionDenied);
        }
    }
    bool existsNormalized(const std::wstring& full) const {
        return files.count(full) != 0 || directories.count(full) != 0;
    }
    bool underAFile(const std::wstring& full) const {
        for (std::wstring above = parentOf(full); above != L"/"; above = parentOf(above)) {
            if (files.count(above) != 0) {
                return true;
            }
        }
        return false;
    }
    void addDirectoryTree(const std::wstring& full) {
        for (std::wstring dir = full; dir != L"/"; dir = parentOf(dir)) {
            directories.insert(dir);
        }
    }
    std::string readContent(const std::wstring& path) const {
        std::wstring full = normalize(path);
        failIfListed("IDS_FILE_READ_ERROR", path, full);
        if (directories.count(full) != 0) {
            throwWithError("IDS_FILE_READ_ERROR", path, kIsADirectory);
        }
        auto found = files.find(full);
        if (found == files.end()) {
            throwWithError("IDS_FILE_READ_ERROR", path,
                           underAFile(full) ? kNotADirectory : kNoSuchFile);
        }
        return found->second;
    }
};
