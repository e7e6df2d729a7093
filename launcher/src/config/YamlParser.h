#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "config/YamlNode.h"

// Reads the line-oriented subset of YAML that launcher.yml is written in:
// "key: value" mappings, "- " sequences, nesting by spaces, "#" comments.
class YamlParser {
  public:
    // The buffer is the file's text followed by four NUL bytes; parsing stops at
    // the first NUL. The returned tree points into the buffer. Syntax errors are
    // LauncherException (code 2) naming the file and the byte offset.
    static std::unique_ptr<YamlNode> parse(std::string_view buffer,
                                           const std::wstring& fileName = L"launcher.yml");

  private:
    YamlParser(const char* data, size_t end, const std::wstring& fileName);

    std::unique_ptr<YamlNode> run();
    size_t skipIndentation();
    std::unique_ptr<YamlNode> readSequenceItem();
    std::unique_ptr<YamlNode> readEntry();
    std::unique_ptr<YamlNode> readComment();
    void place(std::unique_ptr<YamlNode>& node, size_t width);
    void append(YamlNode& parent, std::unique_ptr<YamlNode>& node);

    // Everything from the first NUL on reads as NUL, so no scan can leave the
    // buffer, whatever it holds.
    char at(size_t position) const { return position < end_ ? data_[position] : '\0'; }
    bool isValueByte(size_t position) const;
    bool isKeyEnd(size_t position) const;
    bool isKeyByte(size_t position) const;
    bool isDoubleBreak(size_t position) const;
    [[noreturn]] void fail(const char* messageId, size_t position) const;

    const char* data_;
    size_t end_;
    const std::wstring& fileName_;
    size_t position_ = 0;
    std::unique_ptr<YamlNode> root_;
    YamlNode* parent_;
    std::vector<size_t> widths_;
};
