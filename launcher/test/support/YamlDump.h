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
// configuration sees them), C "text" for comments (raw).
// Line breaks, tabs and NULs inside keys and values are shown escaped.
inline std::string dumpYaml(const YamlNode& root) {
    auto quote = [](const std::string& text) {
        std::string out = "\"";
        for (char c : text) {
            switch (c) {
                case '\n':
                    out += "\\n";
                    break;
                case '\r':
                    out += "\\r";
                    break;
                case '\t':
                    out += "\\t";
                    break;
                case '\0':
                    out += "\\0";
                    break;
                default:
                    out += c;
            }
        }
        return out + "\"";
    };
    std::string out;
    auto visit = [&](auto& self, const YamlNode& parent, int depth) -> void {
        for (const YamlNode* node = parent.getFirstChild(); node != nullptr;
             node = node->getNext()) {
            out.append(2 * depth, ' ');
            switch (node->getKind()) {
                case YamlNode::kEntry:
                    out += "E " + quote(node->getKey()) + " " + quote(node->getValue());
                    break;
                case YamlNode::kSequenceItem:
                    out += "S " + quote(node->getKey()) + " " + quote(node->getValue());
                    break;
                default:
                    // A comment's text is shown untrimmed: its leading blank is kept.
                    out += "C " + quote(std::string(node->getValueData(), node->getValueLength()));
            }
            out += '\n';
            self(self, *node, depth + 1);
        }
    };
    visit(visit, root, 0);
    return out;
}
