#include "mimelib/transfer.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

struct Case {
    std::string in, out;
};

TEST(Transfer, DecodesBase64) {
    const Case cases[] = {
        {"", ""},
        {"SGVsbG8=", "Hello"},
        {"SGVsbG8", "Hello"},
        {"SGVsbA==", "Hell"},
        {"SGVsbG8h", "Hello!"},
        {"S", ""},
        {"SGVs\r\nbG8h\n", "Hello!"},
        {"S G\0V-s*b_G\xFF"
         "8h"s,
         "Hello!"},
        {"SGVs=bG8h", "Hel"},
        {"SGVsb=G8h", "Hel"},
        {"+/+/AAAA", "\xFB\xFF\xBF\0\0\0"s},
    };
    for (const Case& c : cases) {
        DwString text(c.in);
        EXPECT_EQ(DwDecodeBase64(text, text), 0);
        EXPECT_EQ(text.str(), c.out) << c.in;
    }
}

TEST(Transfer, DecodesQuotedPrintable) {
    const Case cases[] = {
        {"", ""},
        {"a=3Db=C3=a9", "a=b\xC3\xA9"},
        {"one=\ntwo=\r\nthree= \t\nfour", "onetwothreefour"},
        {"one=\n\n two \r\n", "one\n two \r\n"},
        // The line end of the last soft line break belongs to the delimiter behind it.
        {"end=", "end"},
        {"end= ", "end"},
        {"=", ""},
        {"=X1 =1X =4 == =\rx =_ a=b", "=X1 =1X =4 == =\rx =_ a=b"},
        {"==41", "=A"},
        {"=4", "=4"},
        {"x=00\0y"s, "x\0\0y"s},
    };
    for (const Case& c : cases) {
        DwString text(c.in);
        EXPECT_EQ(DwDecodeQuotedPrintable(text, text), 0);
        EXPECT_EQ(text.str(), c.out) << c.in;
    }
}

} // namespace
