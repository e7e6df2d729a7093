#include "config/YamlParser.h"

#include <cstring>

#include "platform/LauncherException.h"
#include "platform/LocalizationSupport.h"

namespace {
constexpr size_t kTerminatorLength = 4;

bool isLineBreak(char c) {
    return c == '\n' || c == '\r';
}
}  // namespace

std::unique_ptr<YamlNode> YamlParser::parse(std::string_view buffer, const std::wstring& fileName) {
    if (buffer.size() < kTerminatorLength ||
        buffer.substr(buffer.size() - kTerminatorLength).find_first_not_of('\0') !=
            std::string_view::npos) {
        throw LauncherException(LauncherException::kInternal,
                                L"YAML buffer must end with four NUL bytes");
    }
    const void* firstNul = std::memchr(buffer.data(), '\0', buffer.size());
    size_t end = static_cast<const char*>(firstNul) - buffer.data();
    return YamlParser(buffer.data(), end, fileName).run();
}

YamlParser::YamlParser(const char* data, size_t end, const std::wstring& fileName)
    : data_(data),
      end_(end),
      fileName_(fileName),
      root_(std::make_unique<YamlNode>()),
      parent_(root_.get()) {
    widths_.push_back(0);
    // Editors on some systems start a UTF-8 file with a byte-order mark. It is
    // not text of the file; the offsets of errors still count it, so that they
    // point at the same byte an editor shows.
    if (end_ >= 3 && std::memcmp(data_, "\xEF\xBB\xBF", 3) == 0) {
        position_ = 3;
    }
}

bool YamlParser::isValueByte(size_t position) const {
    char c = at(position);
    return c != '\0' && !isLineBreak(c) && c != '#';
}

bool YamlParser::isKeyEnd(size_t position) const {
    char c = at(position);
    return (c == ' ' || isLineBreak(c)) && position > 0 && at(position - 1) == ':';
}

bool YamlParser::isKeyByte(size_t position) const {
    return isValueByte(position) && !isKeyEnd(position);
}

bool YamlParser::isDoubleBreak(size_t position) const {
    return isLineBreak(at(position)) && isLineBreak(at(position + 1));
}

void YamlParser::fail(const char* messageId, size_t position) const {
    throw LauncherException(LauncherException::kConfiguration,
                            formatMessage(messageId, fileName_, static_cast<long long>(position)));
}

std::unique_ptr<YamlNode> YamlParser::run() {
    while (at(position_) != '\0') {
        size_t width = skipIndentation();
        char first = at(position_);
        if (first == '\0') {
            break;
        }
        std::unique_ptr<YamlNode> node;
        if (first == '-') {
            node = readSequenceItem();
        } else if (first == '.' && at(position_ + 1) == '.' && at(position_ + 2) == '.') {
            fail("IDS_YAML_MULTIPLE_DOCS", position_);
        } else if (first != '#') {
            node = readEntry();
        }

        // Only one byte of a CR LF (or of an empty line) is skipped here; the
        // indentation scan of the next line eats what follows.
        if (isDoubleBreak(position_)) {
            ++position_;
        }
        char taken = at(position_);
        ++position_;
        if (taken == '#') {
            std::unique_ptr<YamlNode> comment = readComment();
            if (node == nullptr) {
                node = std::move(comment);
            } else {
                append(*node, comment);
            }
        }
        place(node, width);
    }
    return std::move(root_);
}

size_t YamlParser::skipIndentation() {
    size_t width = 0;
    do {
        if (isDoubleBreak(position_)) {
            position_ += 2;
            width = 0;
        }
        while (at(position_) == ' ') {
            ++position_;
            ++width;
        }
    } while (isDoubleBreak(position_));
    return width;
}

std::unique_ptr<YamlNode> YamlParser::readSequenceItem() {
    if (at(position_ + 1) == '-' && at(position_ + 2) == '-') {
        fail("IDS_YAML_MULTIPLE_DOCS", position_);
    }
    if (at(position_ + 1) != ' ') {
        fail("IDS_YAML_WRONG_STRUCTURE", position_);
    }
    auto node = std::make_unique<YamlNode>(YamlNode::kSequenceItem);
    const size_t itemStart = position_ + 1;
    position_ = itemStart + 1;
    while (isKeyByte(position_)) {
        ++position_;
    }
    if (isKeyEnd(position_)) {
        // The blank after "-" stays in the key: "- name: x" has the key " name".
        node->setKey(data_ + itemStart, position_ - 1 - itemStart);
        const size_t valueStart = position_;
        ++position_;
        while (isValueByte(position_)) {
            ++position_;
        }
        node->setValue(data_ + valueStart, position_ - valueStart);
    } else {
        node->setValue(data_ + itemStart, position_ - itemStart);
    }
    return node;
}

std::unique_ptr<YamlNode> YamlParser::readEntry() {
    auto node = std::make_unique<YamlNode>(YamlNode::kEntry);
    const size_t keyStart = position_;
    ++position_;
    while (isKeyByte(position_)) {
        ++position_;
    }
    if (!isKeyEnd(position_)) {
        fail("IDS_YAML_KEY_EXPECTED", position_);
    }
    node->setKey(data_ + keyStart, position_ - 1 - keyStart);
    if (at(position_) == ' ') {
        while (at(position_) == ' ' || at(position_) == '\t') {
            ++position_;
        }
        // The first byte is taken whatever it is: after "key: " and nothing else
        // the line break itself starts the value, which then runs on through the
        // next line. Kept so that existing files keep reading as they always have.
        const size_t valueStart = position_;
        ++position_;
        while (isValueByte(position_)) {
            ++position_;
        }
        node->setValue(data_ + valueStart, position_ - valueStart);
    }
    return node;
}

std::unique_ptr<YamlNode> YamlParser::readComment() {
    auto comment = std::make_unique<YamlNode>(YamlNode::kComment);
    const size_t start = position_;
    while (at(position_) != '\0' && !isLineBreak(at(position_))) {
        ++position_;
    }
    comment->setValue(data_ + start, position_ - start);
    ++position_;
    return comment;
}

void YamlParser::place(std::unique_ptr<YamlNode>& node, size_t width) {
    if (width > widths_.back()) {
        YamlNode* lastChild = parent_->getLastChild();
        if (lastChild == nullptr) {
            // An indented first line has nothing to nest under.
            fail("IDS_YAML_WRONG_INDENT", position_);
        }
        parent_ = lastChild;
        widths_.push_back(width);
    } else {
        while (widths_.back() > width) {
            widths_.pop_back();
            parent_ = parent_->getParent();
        }
        if (widths_.back() != width) {
            fail("IDS_YAML_WRONG_INDENT", position_);
        }
    }
    append(*parent_, node);
}

void YamlParser::append(YamlNode& parent, std::unique_ptr<YamlNode>& node) {
    if (!parent.appendChild(node)) {
        fail("IDS_YAML_WRONG_STRUCTURE", position_);
    }
}
