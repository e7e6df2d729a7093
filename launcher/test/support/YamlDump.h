#pragma once

#include <string>
#include <string_view>

#include "config/YamlNode.h"

// The file's text with the four NUL bytes the parser requires.
inline std::string withTerminator(std::string_view text) {
    std::string buffer(text);
    buffer.append(4, '\0');
    return buffer;
}

// A tree as text, one node a line, two blanks of indent per level:
// E "key" "value" for entries, S for sequence items (trimmed values as the
// configuration sees them), C "text" for comments (raw, their leading blank kept).
// Line breaks, tabs and NULs inside keys and values are shown escaped.
inline std::string dumpYaml(const YamlNode& root) {
    auto quote = [](const std::string& text) {
        std::string out = "\"";
        for (char c : text) {
            const size_t special = std::string_view("\n\r\t\0", 4).find(c);
            out += special == std::string_view::npos ? std::string(1, c)
                                                     : std::string("\\") + "nrt0"[special];
        }
        return out + "\"";
    };
    std::string out;
    auto visit = [&](auto& self, const YamlNode& parent, int depth) -> void {
        for (const YamlNode* node = parent.getFirstChild(); node != nullptr;
             node = node->getNext()) {
            out.append(2 * depth, ' ');
            if (node->getKind() == YamlNode::kEntry || node->getKind() == YamlNode::kSequenceItem) {
                out += (node->getKind() == YamlNode::kEntry ? "E " : "S ") + quote(node->getKey()) +
                       " " + quote(node->getValue());
            } else {
                out += "C " + quote(std::string(node->getValueData(), node->getValueLength()));
            }
            out += '\n';
            self(self, *node, depth + 1);
        }
    };
    visit(visit, root, 0);
    return out;
}
