#include "mimelib/transfer.h"

#include "tests/support/cases.h"

namespace {

TEST(Transfer, DecodesInPlace) {
    for (const char* name : {"base64", "quoted-printable"}) {
        const auto decode = name[0] == 'b' ? DwDecodeBase64 : DwDecodeQuotedPrintable;
        for (const Case& row : cases("mimelib/mimelib.cases", name, 2)) {
            DwString text(row[0]);
            EXPECT_EQ(decode(text, text), 0);
            EXPECT_EQ(text.str(), row[1]) << row[0];
        }
    }
}

} // namespace
