#include "mimelib/mimelib.h"

#include "tests/support/cases.h"

namespace {

std::string describe(const DwAddress& address) {
    if (address.IsGroup())
        return "group";
    if (!address.IsValid())
        return "invalid";
    const DwMailbox mailbox(address);
    return mailbox.LocalPart().str() + "|" + mailbox.Domain().str();
}

/// All elements of the list, "local|domain", "group" or "invalid", with blanks between them.
std::string walk(const std::string& field) {
    const DwAddressList list{DwString(field)};
    std::string found;
    for (auto address = list.FirstAddress(); address; address = address->Next())
        found += (found.empty() ? "" : "  ") + describe(*address);
    return found;
}

TEST(Address, WalksOverLists) {
    for (const Case& row : cases("mimelib/mimelib.cases", "addresses", 2))
        EXPECT_EQ(walk(row[0]), row[1]) << row[0];
}

TEST(Address, TakesHostileListsInOnePass) {
    for (const Case& row : cases("mimelib/mimelib.cases", "hostile lists", 3)) {
        std::string field;
        while (field.size() < 1 << 20)
            field += row[0];
        const DwAddressList list{DwString(field)};
        std::size_t elements = 0, valid = 0;
        for (auto address = list.FirstAddress(); address; address = address->Next()) {
            ++elements;
            valid += address->IsValid();
        }
        EXPECT_EQ(std::to_string(elements), row[1]) << row[0];
        EXPECT_EQ(std::to_string(valid), row[2]) << row[0];
    }
}

} // namespace
