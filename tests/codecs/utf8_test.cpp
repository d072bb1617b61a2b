#include "codecs/charset.h"
#include "codecs/utf8.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

/// Whether iconv takes all of it; by a name of UTF-8 for which nothing is taken as it is.
bool is_accepted(const std::string& text) {
    try {
        return orvek::iconvRecode(text, "UTF8", "UTF8", false) == text;
    } catch (const std::runtime_error&) {
        return false;
    }
}

/// Every way to go on from every lead byte that matters: both ends of each range, and beyond them.
TEST(Utf8, IsWhatIconvLeavesAlone) {
    constexpr unsigned char seconds[] = {0x00, 0x7f, 0x80, 0x8f, 0x90,
                                         0x9f, 0xa0, 0xbf, 0xc0, 0xff};
    constexpr unsigned char rest[] = {0x7f, 0x80, 0xbf, 0xc0};
    for (int first = 0; first < 0xf8; ++first) {
        for (const unsigned char second : seconds) {
            if (first > 0xf4 || (first == 0xf4 && second > 0x8f))
                continue; // above U+10FFFF, which some versions of iconv let pass
            for (const unsigned char third : rest) {
                for (const unsigned char fourth : rest) {
                    std::string text = {static_cast<char>(first), static_cast<char>(second),
                                        static_cast<char>(third), static_cast<char>(fourth)};
                    do
                        EXPECT_EQ(orvek::well_formed_utf8_length(text) == text.size(),
                                  is_accepted(text))
                            << first << ' ' << int{second} << ' ' << int{third} << ' '
                            << int{fourth};
                    while (fourth == rest[0] && (text.pop_back(), !text.empty()));
                }
            }
        }
    }
    EXPECT_EQ(orvek::well_formed_utf8_length("\xf4\x90\x80\x80"), 0u);
}

TEST(Utf8, IsFoundWhereverItEnds) {
    for (std::size_t ascii = 0; ascii < 100; ++ascii) {
        const std::string text = std::string(ascii, 'a') + "\u00e4" + std::string(40, 'a');
        EXPECT_EQ(orvek::ascii_length(text), ascii);
        EXPECT_EQ(orvek::well_formed_utf8_length(text), text.size());
        EXPECT_EQ(orvek::well_formed_utf8_length(text + "\x80" + text), text.size());
    }
}

} // namespace
