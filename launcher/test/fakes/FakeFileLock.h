#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "fakes/FakeFileUtils.h"
#include "platform/IFileLock.h"

// Locks over the files of a FakeFileUtils. Paths in lockedByOthers are held by some
// other process (holders says which, when a test cares); paths in replacedPaths were
// deleted and written anew by another owner.
class FakeFileLock : public IFileLock {
  public:
    explicit FakeFileLock(FakeFileUtils& files) : files_(files) {}

    int acquire(const std::wstring& path, const std::string& content) override {
        if (isLocked(path)) {
            return -1;
        }
        files_.writeFile(content.data(), content.size(), path);
        held_[next_] = files_.normalize(path);
        return next_++;
    }
    DeleteResult deleteHeld(int handle, const std::wstring& path) override {
        const std::wstring full = files_.normalize(path);
        if (held_.count(handle) == 0 || held_[handle] != full || replacedPaths.count(full) != 0) {
            return files_.exists(path) ? DeleteResult::Locked : DeleteResult::Absent;
        }
        return files_.deleteFile(path) ? DeleteResult::Deleted : DeleteResult::Absent;
    }
    void release(int handle) override { held_.erase(handle); }
    Inspection inspect(const std::wstring& path) override {
        Inspection found;
        found.present = files_.exists(path);
        found.directory = found.present && files_.isDirectory(path);
        found.regular = found.present && !found.directory;
        if (found.regular) {
            found.content = files_.contentOf(path);
            const auto holder = holders.find(files_.normalize(path));
            found.holder = holder == holders.end() ? 0 : holder->second;
        }
        return found;
    }
    DeleteResult deleteUnlessLocked(const std::wstring& path, const Inspection*) override {
        if (isLocked(path)) {
            return DeleteResult::Locked;
        }
        return files_.deleteFile(path) ? DeleteResult::Deleted : DeleteResult::Absent;
    }

    std::set<std::wstring> lockedByOthers;
    std::map<std::wstring, int32_t> holders;
    std::set<std::wstring> replacedPaths;

  private:
    bool isLocked(const std::wstring& path) {
        const std::wstring full = files_.normalize(path);
        return lockedByOthers.count(full) != 0 || holders.count(full) != 0 ||
               std::any_of(held_.begin(), held_.end(),
                           [&](auto& held) { return held.second == full; });
    }

    FakeFileUtils& files_;
    std::map<int, std::wstring> held_;
    int next_ = 3;
};
