#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/FileContent.h"

// Files and directories. Failures throw LauncherOsException.
class IFileUtils {
  public:
    static constexpr size_t kMaxFileSize = 10485760;

    // Creates the directory and its missing ancestors, except a directory directly
    // under "." or "/", which callers rely on existing already.
    virtual void createDirectories(const std::wstring& path) = 0;
    virtual void createParentDirectories(const std::wstring& filePath) = 0;
    // Whether the file could be opened for appending (it, or else its directory, is
    // writable); creates nothing. Returns its absolute path.
    virtual std::wstring prepareFileForAppend(const std::wstring& path) = 0;
    virtual std::wstring toAbsolutePath(const std::wstring& path) = 0;
    // 0 for a 32-bit ELF file, 1 for a 64-bit one.
    virtual int getElfClass(const std::wstring& libraryPath) = 0;
    virtual wchar_t getPathListSeparator() const = 0;
    virtual bool exists(const std::wstring& path) = 0;
    virtual bool isDirectory(const std::wstring& path) = 0;
    virtual bool deleteFile(const std::wstring& path) = 0;
    virtual std::unique_ptr<FileContent> readFile(const std::wstring& path) = 0;
    virtual void writeFile(const char* data, size_t size, const std::wstring& path) = 0;
    // Files (never directories) of a directory whose names match the mask
    // anywhere ("*" matches any run of characters), in directory order.
    virtual std::vector<std::wstring> listFiles(const std::wstring& directory,
                                                const std::wstring& mask) = 0;
    virtual ~IFileUtils() = default;
};
