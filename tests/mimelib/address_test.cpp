#include "mimelib/mimelib.h"

#include "tests/support/cases.h"

namespace {

std::string describe(const DwAddress& address) {
    if (address.IsGroup())
        return "group";
    if (!address.IsValid())
        return "invalid";
    const DwMailbox& mailbox = address.Mailbox();
    return mailbox.LocalPart().str() + "|" + mailbox.Domain().str();
}

/// All elements of the list, "local|domain", "group" or "invalid", with blanks between them.
std::string walk(const std::string& field) {
    const DwAddressList list{DwString(field)};
    std::string found;
    for (DwAddressReader reader(list); reader.Next();)
        found += (found.empty() ? "" : "  ") + describe(reader.Address());
    return found;
}

TEST(Address, WalksOverLists) {
    for (const Case& row : cases("mimelib/mimelib.cases", "addresses", 2))
        EXPECT_EQ(walk(row[0]), row[1]) << row[0];
}

TEST(Address, TakesHostileListsInOnePass) {
    const struct {
        std::string unit;
        std::size_t elements, valid;
    } cases[] = {
        {"(", 0, 0},
        {",", 0, 0},
        {"a@b,", 1 << 18, 1 << 18},
        {"a:", 1, 1},
        {"<", 1, 0},
        {"\"\\\"", 1, 0},
        {"[", 1, 0},
        {"a:;", 349526, 349526},
        {"=?a?b?,", 149797, 0},
        {"<@a,@b:", 2, 1},
        {"a.", 1, 0},
    };
    for (const auto& c : cases) {
        std::string field;
        while (field.size() < 1 << 20)
            field += c.unit;
        const DwAddressList list{DwString(field)};
        std::size_t elements = 0, valid = 0;
        for (DwAddressReader reader(list); reader.Next();) {
            ++elements;
            valid += reader.Address().IsValid();
        }
        EXPECT_EQ(elements, c.elements) << c.unit;
        EXPECT_EQ(valid, c.valid) << c.unit;
    }
}

} // namespace
