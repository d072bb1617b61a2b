#include "codecs/charset.h"
#include "codecs/idn.h"

#include "tests/support/cases.h"

#include <exception>

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
    } catch (const std::exception& error) {
        outcome.text = "thrown: "s + error.what();
    }
    outcome.diagnostics = testing::internal::GetCapturedStderr();
    return outcome;
}

TEST(Lenient, WordsAndBase64AreDecoded) {
    for (const std::string table : {"decoded words", "lenient base64"}) {
        for (const Case& row : cases("codecs/codecs.cases", table, 3)) {
            const Outcome outcome = run([&] {
                return table == "decoded words" ? orvek::rfc1522::decode(row[0])
                                                : orvek::base64_decode(row[0]);
            });
            EXPECT_EQ(outcome.text, row[1]) << row[0];
            EXPECT_EQ(outcome.diagnostics, row[2]) << row[0];
        }
    }
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

TEST(Idn, Converts) {
    using namespace orvek::idn;
    for (const Case& row : cases("codecs/codecs.cases", "idn", 3)) {
        const auto convert = row[0] == "toAscii"  ? toAscii
                             : row[0] == "toUtf8" ? toUtf8
                                                  : emailToAscii;
        EXPECT_EQ(run([&] { return convert(row[1]); }).text, row[2]) << row[1];
    }
    EXPECT_STREQ(idn_strerror(12345), "Unknown error");
}

} // namespace
