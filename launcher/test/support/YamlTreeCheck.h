#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "config/YamlNode.h"

// What is wrong with a parsed tree, or empty when nothing is: every key and value
// must lie inside the text before its first NUL (a value may hold that NUL), the
// links must agree with each other, and comments carry no key.
inline std::string findYamlTreeFault(const YamlNode& root, const char* text) {
    const char* end = text + std::strlen(text);
    if (root.getKeyData() != nullptr || root.getValueData() != nullptr ||
        root.getParent() != nullptr) {
        return "root has a key, a value or a parent";
    }
    std::vector<const YamlNode*> pending{&root};
    while (!pending.empty()) {
        const YamlNode* node = pending.back();
        pending.pop_back();
        const YamlNode* last = nullptr;
        for (const YamlNode* child = node->getFirstChild(); child != nullptr;
             child = child->getNext()) {
            if (child->getParent() != node) {
                return "child does not point back at its parent";
            }
            const char* key = child->getKeyData();
            if (key != nullptr && (key < text || key + child->getKeyLength() > end)) {
                return "key outside the text";
            }
            const char* value = child->getValueData();
            if (value != nullptr && (value < text || value + child->getValueLength() > end + 1)) {
                return "value outside the text";
            }
            if (child->getKind() < YamlNode::kEntry || child->getKind() > YamlNode::kComment) {
                return "unknown kind";
            }
            if (child->getKind() == YamlNode::kComment && key != nullptr) {
                return "comment with a key";
            }
            // Reads every byte the accessors hand out.
            if (child->getKey().size() > child->getKeyLength() ||
                child->getValue().size() > child->getValueLength()) {
                return "accessor longer than the stored text";
            }
            pending.push_back(child);
            last = child;
        }
        if (node->getLastChild() != last) {
            return "last child link is wrong";
        }
    }
    return std::string();
}
