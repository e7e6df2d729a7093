#include "platform/TextConversion.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <climits>
#include <random>
#include <vector>

namespace {

// The C library's converter, used as the reference the hand-written one must match.
std::wstring iconvToWide(const std::string& input) {
    iconv_t cd = iconv_open("WCHAR_T", "UTF-8");
    std::vector<wchar_t> out(input.size() + 1, 0);
    char* in = const_cast<char*>(input.data());
    size_t inLeft = input.size();
    char* outPtr = reinterpret_cast<char*>(out.data());
    size_t outLeft = 4 * input.size();
    iconv(cd, &in, &inLeft, &outPtr, &outLeft);
    iconv_close(cd);
    return std::wstring(out.data());
}

std::string iconvToUtf8(const std::wstring& input) {
    iconv_t cd = iconv_open("UTF-8", "WCHAR_T");
    std::vector<char> out(4 * input.size() + 1, 0);
    char* in = reinterpret_cast<char*>(const_cast<wchar_t*>(input.data()));
    size_t inLeft = 4 * input.size();
    char* outPtr = out.data();
    size_t outLeft = 4 * input.size();
    iconv(cd, &in, &inLeft, &outPtr, &outLeft);
    iconv_close(cd);
    return std::string(out.data());
}

TEST(TextConversionTest, EmptyAndNullTextsConvertToEmpty) {
    EXPECT_EQ(L"", toWide(static_cast<const char*>(nullptr)));
    EXPECT_EQ(L"", toWide(""));
    EXPECT_EQ("", toUtf8(std::wstring()));
    EXPECT_EQ("", toUtf8(static_cast<const wchar_t*>(nullptr)));
}

TEST(TextConversionTest, InvalidOrTruncatedBytesCutTheText) {
    EXPECT_EQ(L"abc", toWide(std::string("abc\xFF"
                                         "def")));
    EXPECT_EQ(L"ab", toWide(std::string("ab\xD0")));
    EXPECT_EQ(L"x", toWide(std::string("x\xC0\xAF")));      // overlong "/"
    EXPECT_EQ(L"y", toWide(std::string("y\xED\xA0\x80")));  // surrogate
    EXPECT_EQ(L"z", toWide(std::string("z\xFE\x80")));      // no such lead byte
    EXPECT_EQ(L"a", toWide(std::string("a\0b", 3)));
}

TEST(TextConversionTest, CyrillicAndAstralTextsRoundTrip) {
    const std::string utf8 = "Ошибка разбора launcher.yml \xF0\x9F\x98\x80";
    std::wstring wide = toWide(utf8);
    EXPECT_EQ(L'О', wide[0]);
    EXPECT_EQ(static_cast<wchar_t>(0x1F600), wide.back());
    EXPECT_EQ(utf8, toUtf8(wide));
}

TEST(TextConversionTest, WideTextThatCannotBeEncodedIsCut) {
    EXPECT_EQ("ab", toUtf8(std::wstring(L"ab") + static_cast<wchar_t>(0xD800) + L"c"));
    EXPECT_EQ("q", toUtf8(std::wstring(L"q") + static_cast<wchar_t>(-1)));
}

// Random byte soup, biased towards UTF-8 lead and continuation bytes, must convert
// exactly as the C library converts it, both ways.
TEST(TextConversionTest, MatchesTheCLibraryConverterOnRandomInput) {
    std::mt19937 random(20241123);
    const unsigned char interesting[] = {'a',  0x7F, 0x80, 0xBF, 0xC0, 0xC2, 0xDF, 0xE0, 0xED,
                                         0xEF, 0xF0, 0xF4, 0xF5, 0xFF, 0x90, 0xA0, 0x9F};
    for (int round = 0; round < 20000; ++round) {
        std::string bytes;
        int length = 1 + random() % 8;
        for (int i = 0; i < length; ++i) {
            bytes.push_back(static_cast<char>(random() % 3 == 0
                                                  ? 1 + random() % 255
                                                  : interesting[random() % sizeof(interesting)]));
        }
        ASSERT_EQ(iconvToWide(bytes), toWide(bytes)) << "round " << round;
        std::wstring wide;
        for (int i = 0; i < length; ++i) {
            wide.push_back(static_cast<wchar_t>(random() % 2 ? 1 + random() % 0x11FFFF : random()));
        }
        ASSERT_EQ(iconvToUtf8(wide), toUtf8(wide)) << "round " << round;
    }
}

TEST(TextConversionTest, NumbersPrintInDecimal) {
    EXPECT_EQ(L"-5", toText(-5L));
    EXPECT_EQ(L"18446744073709551615", toText(ULLONG_MAX));
    EXPECT_EQ(L"-9223372036854775808", toText(LONG_MIN));
    EXPECT_EQ(L"42", toText(42UL));
}

TEST(TextConversionTest, ReplaceCharTurnsBackslashesIntoSlashes) {
    EXPECT_EQ(L"a/b/c", replaceChar(L"a\\b\\c", L'\\', L'/'));
}

}  // namespace
