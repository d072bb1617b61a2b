#include "codecs/charset.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using namespace std::string_literals;

struct Outcome {
    std::string text; ///< the result, or what was thrown
    std::string diagnostics;
};

template <typename Call>
Outcome run(Call call) {
    Outcome outcome;
    testing::internal::CaptureStderr();
    try {
        outcome.text = call();
    } catch (const std::runtime_error& error) {
        outcome.text = "thrown: "s + error.what();
    }
    outcome.diagnostics = testing::internal::GetCapturedStderr();
    return outcome;
}

TEST(EncodedWords, Decode) {
    constexpr char trailing[] = "wrong rfc1522 sequence (trailing stuff): ";
    const struct {
        std::string in, out, diagnostics;
    } cases[] = {
        {"", "", ""},
        {" no\twords \r\n? = here ", " no\twords \r\n? = here ", ""},
        {"=?iso-8859-1?q?caf=E9?=", "café", ""},
        {"Re: =?UTF-8?Q?Gr=C3=BC=C3=9Fe?=", "Re: Grüße", ""},
        {"=?utf-8?B?SGVsbG8=?= =?utf-8?b?V29ybGQ=?=", "HelloWorld", ""},
        {"=?utf-8?Q?a?= \t =?utf-8?q?b?=  c", "ab  c", ""},
        {"=?utf-8?Q?a_b=5Fc?=", "a b_c", ""},
        {"=?iso-2022-jp?B?GyRCJDMbKEI=?=", "こ", ""},
        // The blank goes by the characters beside it, not by what the words are.
        {"x?= =?y", "x?==?y", "wrong rfc1522 sequence (no charset): =?y\n"},
        {"?= =?", "?==?", "wrong rfc1522 sequence (no charset): =?\n"},
        {"= =?", "= =?", "wrong rfc1522 sequence (no charset): =?\n"},
        {"=?utf-8?Q", "=?utf-8?Q", "wrong rfc1522 sequence (no encoding): =?utf-8?Q\n"},
        {"=?utf-8?Q?abc", "=?utf-8?Q?abc", "wrong rfc1522 sequence (no data): =?utf-8?Q?abc\n"},
        {"=?utf-8?Q?=", "=?utf-8?Q?=", "wrong rfc1522 sequence (no data): =?utf-8?Q?=\n"},
        {"=?utf-8?Q?abc?=def", "abcdef", trailing + "=?utf-8?Q?abc?=def\n"s},
        {"=?utf-8?Q?abc?=\n =?utf-8?Q?def?=", "abc\n def", trailing + "=?utf-8?Q?abc?=\n\n"s},
        {"(=?utf-8?Q?a?=)", "(=?utf-8?Q?a?=)", ""},
        {"=?utf-8?X?abc?=", "", ""},
        {"=?utf-8?QQ?abc?=", "", ""},
        {"=?utf-8?Q?=41=4=zz=?=", "A\4zz\0"s, ""},
        {"=?utf-8?Q?=zza=-?=", "\0a\0"s,
         "Bad hex in quoted-printable string: zz\nBad hex in quoted-printable string: -\n"},
        {"=?utf-8?Q?=4=?=", "\x04"s, ""},
        {"=?utf-8?Q?=+5=-1=0x=\r5?=", "\5?\0\5"s, ""}, // what strtoul takes
        {"=?utf-8?B?Q!UJD?=", "ABC", "Bad base64 symbol: !\n"},
        {"=?us-ascii?Q?=E9?=", "?", ""},
        {"a =?utf-8?Q?=C3?= b", "thrown: Conversion from utf-8 to utf-8", ""},
        {"=?x-none?X?\?=", "thrown: Cannot convert from x-none to utf-8", ""},
        {"=?utf-8*en?Q?a?=", "thrown: Cannot convert from utf-8*en to utf-8", ""},
    };
    for (const auto& c : cases) {
        const Outcome outcome = run([&] { return orvek::rfc1522::decode(c.in); });
        EXPECT_EQ(outcome.text, c.out) << c.in;
        EXPECT_EQ(outcome.diagnostics, c.diagnostics) << c.in;
    }
}

// One text can hold a complaint for every byte; each kind is cut on its own.
TEST(EncodedWords, ComplaintsAreCounted) {
    std::string text, said;
    for (int i = 0; i < 103; ++i) {
        text += "=?utf-8?B?!?= =?utf-8?Q?=zz?= ";
        if (i < 100)
            said += "Bad base64 symbol: !\nBad hex in quoted-printable string: zz\n";
    }
    const Outcome outcome = run([&] { return orvek::rfc1522::decode(text + "=?x-none?Q?a?="); });
    EXPECT_EQ(outcome.text, "thrown: Cannot convert from x-none to utf-8");
    EXPECT_EQ(outcome.diagnostics, said + "Bad base64 symbol: 3 more\n"
                                          "Bad hex in quoted-printable string: 3 more\n");
}

TEST(EncodedWords, Encode) {
    const struct {
        std::string in, out;
    } cases[] = {
        {"", ""},
        {"Hello, world. <x@y> 'z' #$%&;[]{}\x7F", "Hello, world. <x@y> 'z' #$%&;[]{}\x7F"},
        {"Grüße aus Köln", "=?utf-8?Q?Gr=C3=BC=C3=9Fe_aus_K=C3=B6ln?="},
        {"Re: Grüße", "Re: =?utf-8?Q?Gr=C3=BC=C3=9Fe?="},
        {"a b-c d", "a =?utf-8?Q?b=2Dc_d?="},
        {" -", " =?utf-8?Q?=2D?="},
        {"a\tb", "=?utf-8?Q?a=09b?="},
        {"!\"()*+-/=?_\n\0\x1F"s, "=?utf-8?Q?=21=22=28=29=2A=2B=2D=2F=3D=3F=5F=0A=00=1F?="},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(orvek::rfc1522::encode(c.in), c.out);
        EXPECT_EQ(orvek::rfc1522::decode(c.out), c.in);
    }
}

TEST(Recoding, Recodes) {
    const std::string filler(4095, 'a');
    const std::string long_name(1 << 20, 'x');
    const struct {
        const char* name;
        std::string text, from, to;
        bool replace;
        std::string result;
    } cases[] = {
        {"nothing", "", "koi8-r", "utf-8", false, ""},
        {"NUL bytes", "a\0\xC1"s, "koi8-r", "utf-8", false, "a\0а"s},
        {"unknown", "", "x-none", "UTF-8", true, "thrown: Cannot convert from x-none to UTF-8"},
        {"unknown target", "", "UTF-8", "a/b/c", true,
         "thrown: Cannot convert from UTF-8 to a/b/c"},
        {"long name", "a", long_name, "b", true,
         "thrown: Cannot convert from " + long_name + " to b"},
        {"invalid", "a\xE9z", "US-ASCII", "UTF-8", true, "a?z"},
        {"invalid, strict", "\xE9", "US-ASCII", "UTF-8", false,
         "thrown: Conversion from US-ASCII to UTF-8"},
        {"each byte", "\xF0\xFF\xC3\xA9", "UTF-8", "UTF-8", true, "??é"},
        {"no such character", "a€b", "UTF-8", "koi8-r", true, "a???b"},
        {"cut off", "ab\xC3", "UTF-8", "UTF-8", true, "thrown: Conversion from UTF-8 to UTF-8"},
        {"character over the buffer's end", filler + "\xE9" + filler, "latin1", "UTF-8", true,
         filler + "é" + filler},
        {"invalid byte at the buffer's end", filler + "a\xE9" + filler, "US-ASCII", "UTF-8", true,
         filler + "a?" + filler},
        {"state over the buffer's end", filler + "\x1B$B$3$s", "ISO-2022-JP", "UTF-8", true,
         filler + "こん"},
        {"state is not reset", "こa", "UTF-8", "ISO-2022-JP", true, "\x1B$B$3\x1B(Ba"},
        {"state is not reset at the end", "aこ", "UTF-8", "ISO-2022-JP", true, "a\x1B$B$3"},
        {"ignoring", "a\xE9z", "US-ASCII", "UTF-8//IGNORE", true, "az?"},
    };
    for (const auto& c : cases) {
        const Outcome outcome =
            run([&] { return orvek::iconvRecode(c.text, c.from, c.to, c.replace); });
        EXPECT_EQ(outcome.text, c.result) << c.name;
        EXPECT_EQ(outcome.diagnostics, "") << c.name;
    }
}

TEST(LenientBase64, Decodes) {
    const struct {
        std::string in, out, diagnostics;
    } cases[] = {
        {"", "", ""},
        {"=QUJD", "", ""},
        {"QUJD", "ABC", ""},
        {"QQ==", "A", ""},
        {"QUI=", "AB", ""},
        {"QUJD\nREVG", "ABCDEF", ""},
        {"QUJD=REVG", "ABC", ""},
        {"+/+/", "\xFB\xFF\xBF", ""},
        // How many bytes a group gives goes by the characters that it took.
        {"Q", "@", ""},
        {"QU", "A", ""},
        {"QUJ", "AB", ""},
        {"Q \tQ", "A\0\0"s, ""},
        {" Q=", "@", ""},
        {"\r\nQ=", "@\0"s, ""},
        {"QUJD\n", "ABC\0"s, ""},
        {"Q*U\xFFJD", "ABC", "Bad base64 symbol: *\nBad base64 symbol: \xFF\n"},
        {"-=", "\0"s, "Bad base64 symbol: -\n"},
    };
    for (const auto& c : cases) {
        const Outcome outcome = run([&] { return orvek::base64_decode(c.in); });
        EXPECT_EQ(outcome.text, c.out) << c.in;
        EXPECT_EQ(outcome.diagnostics, c.diagnostics) << c.in;
    }
}

} // namespace
