#pragma once

#include <cstdint>
#include <ostream>
#include <string>

class IFileLock;
class IFileUtils;
class IOsUtilsFactory;

// The PID file of a running launcher: written and locked at the start, removed at the
// end, and read back by another launcher that wants to stop this one or start in its
// place. The lock, not the file, says that the launcher still runs.
class PidFile {
  public:
    // An empty path means that no PID file is in use.
    PidFile(IOsUtilsFactory& os, IFileLock& lock, std::wstring path);
    // Gives up the lock; the file itself goes only with removePid.
    ~PidFile();
    PidFile(const PidFile&) = delete;
    PidFile& operator=(const PidFile&) = delete;

    // Writes this process's id and keeps the file locked. Throws LauncherException
    // (code 3) when another launcher holds the file or it cannot be written.
    void savePid();
    // Deletes the file written by savePid, logging what happened; never throws.
    void removePid();

    // The id in a PID file written by another launcher, or -1 after a message in
    // errors. Throws when the path is empty or the file cannot be read.
    static int32_t readPid(IFileUtils& files, const std::wstring& path, std::wostream& errors);
    // The same for content read already; path only names the file in the message.
    static int32_t parsePid(const std::string& content, const std::wstring& path,
                            std::wostream& errors);

    const std::wstring& getPath() const { return path_; }

  private:
    IOsUtilsFactory& os_;
    IFileLock& lock_;
    std::wstring path_;
    int lockHandle_ = -1;
    // Another launcher held the file: it is theirs, never ours to delete.
    bool heldByAnother_ = false;
};
