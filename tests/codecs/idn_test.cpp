#include "codecs/idn.h"

#include "tests/support/cases.h"

namespace {

using namespace orvek::idn;

TEST(Idn, Converts) {
    for (const Case& row : cases("codecs/codecs.cases", "idn", 3)) {
        std::string result;
        try {
            result = row[0] == "toAscii"  ? toAscii(row[1])
                     : row[0] == "toUtf8" ? toUtf8(row[1])
                                          : emailToAscii(row[1]);
        } catch (const IdnaError& error) {
            result = std::string("thrown: ") + error.what();
        }
        EXPECT_EQ(result, row[2]) << row[1];
    }
    EXPECT_STREQ(idn_strerror(12345), "Unknown error");
}

} // namespace
