#include "config/YamlNode.h"

#include <vector>

YamlNode::~YamlNode() {
    // Freed without recursion: a long file is a long sibling chain, and a
    // recursive teardown would spend one stack frame per line.
    std::vector<YamlNode*> pending;
    if (firstChild_ != nullptr) {
        pending.push_back(firstChild_);
    }
    while (!pending.empty()) {
        YamlNode* node = pending.back();
        pending.pop_back();
        if (node->next_ != nullptr) {
            pending.push_back(node->next_);
        }
        if (node->firstChild_ != nullptr) {
            pending.push_back(node->firstChild_);
        }
        node->next_ = nullptr;
        node->firstChild_ = nullptr;
        delete node;
    }
}

std::string YamlNode::getKey() const {
    if (key_ == nullptr) {
        return std::string();
    }
    return std::string(key_, keyLength_);
}

std::string YamlNode::getValue() const {
    if (value_ == nullptr) {
        return std::string();
    }
    static const char kTrimmed[] = " \t\r\n";
    std::string value(value_, valueLength_);
    size_t first = value.find_first_not_of(kTrimmed);
    if (first == std::string::npos) {
        return std::string();
    }
    size_t last = value.find_last_not_of(kTrimmed);
    return value.substr(first, last - first + 1);
}

void YamlNode::setKey(const char* key, uint64_t length) {
    key_ = key;
    keyLength_ = length;
}

void YamlNode::setValue(const char* value, uint64_t length) {
    value_ = value;
    valueLength_ = length;
}

bool YamlNode::appendChild(std::unique_ptr<YamlNode>& child) {
    if (child->parent_ != nullptr || child->next_ != nullptr) {
        return false;
    }
    YamlNode* node = child.release();
    node->parent_ = this;
    if (lastChild_ == nullptr) {
        firstChild_ = node;
    } else {
        lastChild_->next_ = node;
    }
    lastChild_ = node;
    return true;
}
