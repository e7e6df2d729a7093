#include "platform/TextConversion.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <random>
#include <vector>

namespace {

// The C library's converter is the reference the hand-written one must match; its
// output room is four bytes per input character, as the launcher's is.
template <typename Out, typename In>
Out reference(const char* to, const char* from, const In& input) {
    std::vector<typename Out::value_type> out(4 * input.size() + 1, 0);
    char* in = reinterpret_cast<char*>(const_cast<typename In::value_type*>(input.data()));
    size_t inLeft = input.size() * sizeof(typename In::value_type), outLeft = 4 * input.size();
    char* at = reinterpret_cast<char*>(out.data());
    iconv_t cd = iconv_open(to, from);
    iconv(cd, &in, &inLeft, &at, &outLeft);
    iconv_close(cd);
    return Out(out.data());
}

// Random byte soup biased towards UTF-8 lead and continuation bytes, and random
// wide characters, surrogates and values beyond U+10FFFF included.
TEST(TextConversionTest, MatchesTheCLibraryConverter) {
    EXPECT_EQ("", toUtf8(static_cast<const wchar_t*>(nullptr)));
    std::mt19937 random(20241123);
    const unsigned char interesting[] = {'a',  0x7F, 0x80, 0xBF, 0xC0, 0xC2, 0xDF, 0xE0, 0xED,
                                         0xEF, 0xF0, 0xF4, 0xF5, 0xFF, 0x90, 0xA0, 0x9F};
    for (int round = 0; round < 20000; ++round) {
        std::string bytes;
        std::wstring wide;
        for (int i = 0, length = 1 + random() % 8; i < length; ++i) {
            bytes.push_back(static_cast<char>(random() % 3 == 0
                                                  ? 1 + random() % 255
                                                  : interesting[random() % sizeof(interesting)]));
            wide.push_back(static_cast<wchar_t>(random() % 2 ? 1 + random() % 0x11FFFF : random()));
        }
        ASSERT_EQ(reference<std::wstring>("WCHAR_T", "UTF-8", bytes), toWide(bytes)) << round;
        ASSERT_EQ(reference<std::string>("UTF-8", "WCHAR_T", wide), toUtf8(wide)) << round;
    }
}

}  // namespace
