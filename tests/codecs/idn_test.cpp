#include "codecs/idn.h"

#include <gtest/gtest.h>

namespace {

using namespace orvek::idn;
using Conversion = std::string (*)(const std::string&);

std::string run(Conversion conversion, const std::string& name) {
    try {
        return conversion(name);
    } catch (const IdnaError& error) {
        return std::string("thrown: ") + error.what();
    }
}

TEST(Idn, Converts) {
    const std::string label63(63, 'a');
    const struct {
        Conversion conversion;
        std::string in, out;
    } cases[] = {
        {toAscii, "", ""},
        {toAscii, "Example.com", "Example.com"},
        {toAscii, "bücher", "xn--bcher-kva"},
        {toAscii, "box@bücher.example", "xn--box@bcher-u9a.example"},
        {toAscii, "a_b+c@example.com", "a_b+c@example.com"},
        {toAscii, label63 + ".com", label63 + ".com"},
        {toAscii, label63 + "a.com", "thrown: Invalid length"},
        {toAscii, "a..b", "thrown: Invalid length"},
        {toAscii, "\xFF", "thrown: Iconv error"},
        {toAscii, "xn--b\xC3\xBC", "thrown: ACE prefix found"},
        {toAscii, std::string("ab\0cd", 5), "ab"},
        {toUtf8, "xn--bcher-kva.example", "bücher.example"},
        {emailToAscii, "jürgen@bücher.example", "jürgen@xn--bcher-kva.example"},
        {emailToAscii, "bücher", "bücher"},
        {emailToAscii, "a@b@example.com", "a@b@example.com"},
        {emailToAscii, "a@" + label63 + "b", "thrown: Invalid length"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(run(c.conversion, c.in), c.out) << c.in;
}

TEST(Idn, ErrorTexts) {
    std::string texts;
    for (int code = 0; code < 10; ++code)
        texts.append(IdnaError(code).what()).append("|");
    EXPECT_EQ(texts, "Success|Stringprep error|Punycode error|Contains non-LDH characters|"
                     "Contains minus|Invalid length|ACE prefix not found|Verify error|"
                     "ACE prefix found|Iconv error|");
    EXPECT_STREQ(idn_strerror(201), "Cannot allocate buffer");
    for (const int code : {-1, 10, 200, 202, 12345})
        EXPECT_STREQ(idn_strerror(code), "Unknown error");
}

} // namespace
