#pragma once

#include <string>
#include <vector>

// The bytes of a file read whole, with the path they came from.
class FileContent {
  public:
    FileContent(std::wstring path, size_t size);

    const std::wstring& getPath() const { return path_; }
    size_t size() const { return bytes_.size(); }
    bool empty() const { return bytes_.empty(); }
    char* data() { return bytes_.data(); }
    const char* data() const { return bytes_.data(); }
    std::string toString() const { return std::string(bytes_.begin(), bytes_.end()); }

  private:
    std::wstring path_;
    std::vector<char> bytes_;
};
