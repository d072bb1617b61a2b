#include "codecs/charset.h"

#include "tests/support/cases.h"

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

/// Rows of input, result and diagnostics.
template <typename Call>
void expect_decoded(const char* table, Call decode) {
    for (const Case& row : cases("codecs/codecs.cases", table, 3)) {
        const Outcome outcome = run([&] { return decode(row[0]); });
        EXPECT_EQ(outcome.text, row[1]) << row[0];
        EXPECT_EQ(outcome.diagnostics, row[2]) << row[0];
    }
}

TEST(EncodedWords, Decode) {
    expect_decoded("decoded words",
                   [](const std::string& text) { return orvek::rfc1522::decode(text); });
}

TEST(LenientBase64, Decodes) {
    expect_decoded("lenient base64", orvek::base64_decode);
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
    for (const Case& row : cases("codecs/codecs.cases", "encoded words", 2)) {
        EXPECT_EQ(orvek::rfc1522::encode(row[0]), row[1]);
        EXPECT_EQ(orvek::rfc1522::decode(row[1]), row[0]);
    }
}

TEST(Recoding, Recodes) {
    for (const Case& row : cases("codecs/codecs.cases", "recoded", 6)) {
        const bool replacing = row[4] == "replacing";
        const Outcome outcome =
            run([&] { return orvek::iconvRecode(row[1], row[2], row[3], replacing); });
        EXPECT_EQ(outcome.text, row[5]) << row[0];
        EXPECT_EQ(outcome.diagnostics, "") << row[0];
    }
}

} // namespace
