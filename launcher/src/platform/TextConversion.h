#pragma once

#include <string>
#include <string_view>

// Conversions between the wide strings used inside the launcher and the UTF-8
// spoken by the OS, files, the JVM and libraries. A text is cut silently at the
// first byte that is not valid UTF-8.
std::wstring toWide(const char* utf8);
std::wstring toWide(const std::string& utf8);
// Whether toWide keeps the whole text: every byte valid UTF-8, no NUL inside.
// Texts that name files are refused rather than cut when this is false, since the
// part before the bad byte names another file.
bool isWholeUtf8(const std::string& utf8);
std::string toUtf8(const std::wstring& text);
std::string toUtf8(const wchar_t* text);
// toUtf8 of the text added to the end of out, for callers that build one line of
// many pieces.
void appendUtf8(std::string& out, std::wstring_view text);

std::wstring toText(long value);
std::wstring toText(unsigned long value);
std::wstring toText(long long value);
std::wstring toText(unsigned long long value);

std::wstring replaceChar(const std::wstring& text, wchar_t from, wchar_t to);
