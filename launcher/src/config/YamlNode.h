#pragma once

#include <cstdint>
#include <memory>
#include <string>

// One significant line of launcher.yml (or a comment that ends a line). Keys and
// values point into the parsed buffer, which must outlive the tree; a node owns
// its children.
class YamlNode {
  public:
    static constexpr int32_t kEntry = 0;
    static constexpr int32_t kSequenceItem = 1;
    static constexpr int32_t kComment = 2;

    explicit YamlNode(int32_t kind = kEntry) : kind_(kind) {}
    ~YamlNode();
    YamlNode(const YamlNode&) = delete;
    YamlNode& operator=(const YamlNode&) = delete;

    int32_t getKind() const { return kind_; }
    const YamlNode* getNext() const { return next_; }
    const YamlNode* getFirstChild() const { return firstChild_; }
    const YamlNode* getLastChild() const { return lastChild_; }
    YamlNode* getLastChild() { return lastChild_; }
    const YamlNode* getParent() const { return parent_; }
    YamlNode* getParent() { return parent_; }

    // The key bytes exactly as they stand in the file; empty when there is none.
    std::string getKey() const;
    // The value bytes without leading and trailing blanks, tabs and line breaks.
    std::string getValue() const;

    const char* getKeyData() const { return key_; }
    uint64_t getKeyLength() const { return keyLength_; }
    const char* getValueData() const { return value_; }
    uint64_t getValueLength() const { return valueLength_; }

    void setKey(const char* key, uint64_t length);
    void setValue(const char* value, uint64_t length);
    // Takes the child as the last one; refuses (and leaves it with the caller)
    // a node that is already linked into a tree.
    bool appendChild(std::unique_ptr<YamlNode>& child);

  private:
    const char* key_ = nullptr;
    const char* value_ = nullptr;
    uint64_t keyLength_ = 0;
    uint64_t valueLength_ = 0;
    int32_t kind_;
    YamlNode* parent_ = nullptr;
    YamlNode* next_ = nullptr;
    YamlNode* firstChild_ = nullptr;
    YamlNode* lastChild_ = nullptr;
};
