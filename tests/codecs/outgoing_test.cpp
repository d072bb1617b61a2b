#include "codecs/outgoing.h"

#include "codecs/charset.h"
#include "tests/support/cases.h"

namespace {

using namespace orvek;

TEST(Outgoing, HeaderTextReadsBackAndKeepsToItsLines) {
    const std::string emoji = "\xF0\x9F\x98\x80", zhe = "\xD0\x96";
    const struct {
        std::string text, lines; // no lines: only read back
    } cases[] = {
        {"Re: hello", "Re: hello"},
        {"Re: (50 %) - what?", "Re: (50 %) - what?"},
        {"Re: " + zhe + " now", "Re: =?utf-8?B?0JY=?= now"},
        {"a =?x?Q?y?= b", "a =?utf-8?B?PT94P1E/eT89?= b"},
        {times(12, "word ") + "end " + times(4, "tail "), ""},
        {times(40, "\xD1\x81\xD0\xBB\xD0\xBE\xD0\xB2\xD0\xBE "), ""},
        {times(300, zhe), ""},
        {times(100, emoji), ""},
        {times(90, "a" + zhe), ""},
        {"x " + times(2000, "y") + " z", ""},
        {zhe + "  two  blanks  " + zhe, ""},
    };
    for (const auto& c : cases) {
        const std::string lines = outgoing::header_text(c.text, 9);
        EXPECT_TRUE(c.lines.empty() || lines == c.lines) << lines;
        std::size_t column = 9;
        for (const char b : lines) {
            column = b == '\n' ? 0 : column + 1;
            EXPECT_LE(column, 76u) << lines;
        }
        std::string unfolded = lines;
        std::erase(unfolded, '\n');
        EXPECT_EQ(rfc1522::decode(unfolded), c.text.substr(0, c.text.find_last_not_of(' ') + 1));
        for (std::size_t at = 0; (at = lines.find("=?", at)) != std::string::npos;) {
            const std::size_t end = lines.find("?=", lines.find('?', at + 8) + 1) + 2;
            EXPECT_LE(end - at, 75u) << lines;
            EXPECT_EQ(rfc1522::decode(lines.substr(at, end - at)).find("\xEF\xBF\xBD"),
                      std::string::npos);
            at = end;
        }
    }
    EXPECT_EQ(outgoing::header_text("\xFF"
                                    "a\r\n b\x7F",
                                    0),
              "=?utf-8?B?77+9YQ==?=   b");
}

TEST(Outgoing, OtherForms) {
    EXPECT_EQ(outgoing::with_ascii_domains("B <a@b\xC3\xBC.example>, c@d.example"),
              "B <a@xn--b-eha.example>, c@d.example");
    EXPECT_EQ(outgoing::folded("a, b", 990), "a, b");
    EXPECT_EQ(outgoing::folded("aa bbbbbb", 992), "aa\n bbbbbb");
    EXPECT_EQ(outgoing::folded(times(600, "a,"), 10).find('\n'), 988u);
    for (const Case& row : cases("codecs/codecs.cases", "quoted-printable", 3)) {
        EXPECT_EQ(outgoing::needs_quoted_printable(row[0]), row[1] == "yes") << row[0];
        EXPECT_EQ(outgoing::quoted_printable(row[0]), row[2]) << row[0];
    }
    for (const Case& row : cases("codecs/codecs.cases", "holds ASCII", 2))
        EXPECT_EQ(outgoing::holds_ascii(row[0]), row[1] == "yes") << row[0];
}

} // namespace
