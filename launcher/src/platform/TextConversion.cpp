#include "platform/TextConversion.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

// The converters are written out by hand rather than through iconv: the launcher
// converts on every OS call and log line, and opening a converter per call costs
// far more than the conversion. They accept and reject exactly what the C
// library's UTF-8 converter does (the old five- and six-byte forms up to
// 0x7FFFFFFF are accepted; overlong forms and surrogates are not), and stop at
// the first invalid or truncated sequence, keeping what came before it.

namespace {

// Returns the number of bytes of the valid sequence at p (0 when invalid or cut
// short) and stores its code point.
size_t decodeOne(const unsigned char* p, const unsigned char* end, char32_t& out) {
    unsigned char b0 = p[0];
    if (b0 < 0x80) {
        out = b0;
        return 1;
    }
    static const char32_t kMinimum[] = {0, 0, 0x80, 0x800, 0x10000, 0x200000, 0x4000000};
    size_t length;
    if (b0 >= 0xC0 && b0 <= 0xDF) {
        length = 2;
    } else if (b0 >= 0xE0 && b0 <= 0xEF) {
        length = 3;
    } else if (b0 >= 0xF0 && b0 <= 0xF7) {
        length = 4;
    } else if (b0 >= 0xF8 && b0 <= 0xFB) {
        length = 5;
    } else if (b0 >= 0xFC && b0 <= 0xFD) {
        length = 6;
    } else {
        return 0;
    }
    char32_t cp = b0 & (0x7F >> length);
    const char32_t min = kMinimum[length];
    if (static_cast<size_t>(end - p) < length) {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        if ((p[i] & 0xC0) != 0x80) {
            return 0;
        }
        cp = (cp << 6) | (p[i] & 0x3F);
    }
    if (cp < min || (cp >= 0xD800 && cp <= 0xDFFF)) {
        return 0;
    }
    out = cp;
    return length;
}

}  // namespace

std::wstring toWide(const char* utf8) {
    std::wstring result;
    if (utf8 == nullptr) {
        return result;
    }
    const auto* p = reinterpret_cast<const unsigned char*>(utf8);
    const auto* end = p + std::strlen(utf8);
    // Nearly every text is plain ASCII; its run is copied without decoding.
    const auto* ascii = p;
    while (ascii < end && *ascii < 0x80) {
        ++ascii;
    }
    result.resize(ascii - p);
    std::copy(p, ascii, result.begin());
    if (ascii == end) {
        return result;
    }
    result.reserve(end - p);
    p = ascii;
    while (p < end) {
        char32_t cp;
        size_t used = decodeOne(p, end, cp);
        if (used == 0) {
            break;
        }
        result.push_back(static_cast<wchar_t>(cp));
        p += used;
    }
    return result;
}

std::wstring toWide(const std::string& utf8) {
    return toWide(utf8.c_str());
}

bool isWholeUtf8(const std::string& utf8) {
    const auto* p = reinterpret_cast<const unsigned char*>(utf8.data());
    const auto* end = p + utf8.size();
    while (p < end) {
        char32_t cp;
        const size_t used = *p == 0 ? 0 : decodeOne(p, end, cp);
        if (used == 0) {
            return false;
        }
        p += used;
    }
    return true;
}

void appendUtf8(std::string& out, std::wstring_view text) {
    // Nearly every text is plain ASCII; its run is copied without encoding.
    size_t ascii = 0;
    while (ascii < text.size() && text[ascii] > 0 && text[ascii] < 0x80) {
        ++ascii;
    }
    const size_t start = out.size();
    out.resize(start + ascii);
    std::copy(text.begin(), text.begin() + ascii, out.begin() + start);
    if (ascii == text.size()) {
        return;
    }
    // The output holds four bytes per character, so a text of the long (five- and
    // six-byte) forms runs out of room and is cut where the room ends.
    const size_t capacity = 4 * text.size();
    for (wchar_t wc : text.substr(ascii)) {
        const size_t written = out.size() - start;
        auto cp = static_cast<char32_t>(wc);
        if (cp == 0) {
            // The converter hands back a NUL-terminated buffer, so an embedded
            // NUL ends the text.
            break;
        }
        if ((cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x7FFFFFFF) {
            break;
        }
        if (cp < 0x80) {
            if (written + 1 > capacity) {
                break;
            }
            out.push_back(static_cast<char>(cp));
            continue;
        }
        static const unsigned char kLead[] = {0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
        const size_t length = cp < 0x800       ? 2
                              : cp < 0x10000   ? 3
                              : cp < 0x200000  ? 4
                              : cp < 0x4000000 ? 5
                                               : 6;
        if (written + length > capacity) {
            break;
        }
        out.push_back(static_cast<char>(kLead[length] | (cp >> (6 * (length - 1)))));
        for (int shift = 6 * static_cast<int>(length - 2); shift >= 0; shift -= 6) {
            out.push_back(static_cast<char>(0x80 | ((cp >> shift) & 0x3F)));
        }
    }
}

std::string toUtf8(const std::wstring& text) {
    std::string result;
    appendUtf8(result, text);
    return result;
}

std::string toUtf8(const wchar_t* text) {
    std::string result;
    if (text != nullptr) {
        appendUtf8(result, text);
    }
    return result;
}

namespace {

template <typename T>
std::wstring formatNumber(const char* format, T value) {
    char buffer[24] = {};
    int written = std::snprintf(buffer, sizeof(buffer), format, value);
    if (written >= 0 && written <= 24) {
        return toWide(buffer);
    }
    return L"<format error>";
}

}  // namespace

std::wstring toText(long value) {
    return formatNumber("%ld", value);
}
std::wstring toText(unsigned long value) {
    return formatNumber("%lu", value);
}
std::wstring toText(long long value) {
    return formatNumber("%lld", value);
}
std::wstring toText(unsigned long long value) {
    return formatNumber("%llu", value);
}

std::wstring replaceChar(const std::wstring& text, wchar_t from, wchar_t to) {
    std::wstring result = text;
    for (wchar_t& c : result) {
        if (c == from) {
            c = to;
        }
    }
    return result;
}
