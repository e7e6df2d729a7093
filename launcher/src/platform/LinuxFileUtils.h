#pragma once

#include "platform/IFileUtils.h"

// Files and directories through the POSIX calls; every failure becomes a
// LauncherOsException carrying the path and the OS error text.
class LinuxFileUtils : public IFileUtils {
  public:
    void createDirectories(const std::wstring& path) override;
    void createParentDirectories(const std::wstring& filePath) override;
    std::wstring prepareFileForAppend(const std::wstring& path) override;
    std::wstring toAbsolutePath(const std::wstring& path) override;
    int getElfClass(const std::wstring& libraryPath) override;
    wchar_t getPathListSeparator() const override;
    bool exists(const std::wstring& path) override;
    bool isDirectory(const std::wstring& path) override;
    bool deleteFile(const std::wstring& path) override;
    std::unique_ptr<FileContent> readFile(const std::wstring& path) override;
    void writeFile(const char* data, size_t size, const std::wstring& path) override;
    std::vector<std::wstring> listFiles(const std::wstring& directory,
                                        const std::wstring& mask) override;
};
