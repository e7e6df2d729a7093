#pragma once

#include <sys/stat.h>

#include <string>

// A path resolved to an open directory and a last name, following on the way only the
// symbolic links of root or of this process's user: a link that another user planted
// never decides where a root launcher writes or what it deletes. The directory stays
// open, so whatever is then done with the name happens in the directory that was checked.
class LinuxTrustedPath {
  public:
    // Throws LauncherOsException: IDS_UNTRUSTED_LINK for a link of another user,
    // errorId (path, OS error) when a directory on the way cannot be opened. With a
    // null errorId that failure leaves directory() below 0 and errno set instead.
    LinuxTrustedPath(const std::wstring& path, const char* errorId);
    ~LinuxTrustedPath();
    LinuxTrustedPath(const LinuxTrustedPath&) = delete;
    LinuxTrustedPath& operator=(const LinuxTrustedPath&) = delete;

    int directory() const { return directory_; }
    // Never a link of root or this user: those have been followed, except a link of the
    // kernel's own under /proc, which open() follows. It may be absent.
    const std::string& name() const { return name_; }
    // The directory's absolute path, a "/", and the name.
    std::string absolute() const;

    // openat of the name that never follows a link; -1 and errno on failure.
    int open(int flags, mode_t mode = 0) const;
    // lstat of the name; false and errno when it fails.
    bool statName(struct stat& info) const;

    // Whether a link with this owner may be followed.
    static bool isTrustedOwner(uid_t owner);

  private:
    int directory_ = -1;
    std::string name_;
    bool followName_ = false;
};
