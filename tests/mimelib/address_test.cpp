#include "mimelib/mimelib.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

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

struct Case {
    std::string field, found;
};

void expect_walks(const std::vector<Case>& cases) {
    for (const Case& c : cases)
        EXPECT_EQ(walk(c.field), c.found) << c.field;
}

TEST(Address, ReadsMailboxesAsRealMailWritesThem) {
    expect_walks({
        {"joe@example.org", "joe|example.org"},
        {"joe@example.org (Joe (the) Plumber)", "joe|example.org"},
        {"Joe Q. Public <joe@example.org>", "joe|example.org"},
        {"\"Public, Joe\" <joe@example.org>", "joe|example.org"},
        {"\"a \\\" <x@y>, \" <joe@example.org>", "joe|example.org"},
        {"joe@home <joe@example.org>", "joe|example.org"},
        {"J\xC3\xB6 <j\xC3\xB6@\xC3\xA9.org>", "j\xC3\xB6|\xC3\xA9.org"},
        {"=?utf-8?Q?Doe:_<Joe>,_J?= <joe@example.org>", "joe|example.org"},
        {"=?utf-8?Q?Doe?=\n =?utf-8?Q?,?=\r\n\t<joe@example.org>", "joe|example.org"},
        {"=?a?b@x", "=?a?b|x"},
        {"=?a?b?c?=@x", "=?a?b?c?=|x"},
        {"=?a?b?c,d@e?=@x", "invalid"},
        {"<joe@example.org", "joe|example.org"},
        {"<joe@a, ann@b", "joe|a  ann|b"},
        {"<joe@a> rubbish \"x, y\" <z@z>, ann@b", "joe|a  ann|b"},
        {"joe.@example.org.", "joe.|example.org."},
        {"=?a?Q?b?=c@x", "=?a?Q?b?=c|x"},
    });
}

TEST(Address, ReadsTheObsoleteForms) {
    expect_walks({
        {" joe\n . (x) q\r\n @ (y(z)) example (\\)) .\torg ", "joe.q|example.org"},
        {"<@relay,@b:user@dom>", "user|dom"},
        {"Joe < @relay (a:b) , @b : user@dom >", "user|dom"},
        {"<@relay>", "invalid"},
        {"<@relay, ann@b", "invalid"},
        {", ,joe@a,, ; ann@b;,", "joe|a  ann|b"},
        {"joe@[192.0.2.1]", "joe|[192.0.2.1]"},
        {"joe@[ IPv6:2001:db8:\n :1 ]", "joe|[IPv6:2001:db8::1]"},
    });
}

TEST(Address, KeepsTheQuotesThatALocalPartNeeds) {
    expect_walks({
        {"\"joe\"@x", "joe|x"},
        {"\"joe.q\"@x", "joe.q|x"},
        {"\"a b\"@x", "\"a b\"|x"},
        {"\"a@b\"@x", "\"a@b\"|x"},
        {"\"a\\\"\\\\\\c\"@x", "\"a\\\"\\\\c\"|x"},
        {"\"a.\"@x", "\"a.\"|x"},
        {"\"a..b\"@x", "\"a..b\"|x"},
        {"\"a b\".c@x", "\"a b\".c|x"},
        {"\"a.\"b@x", "invalid"},
        {"\"\"@x", "invalid"},
        {"\"a\n b\"@x", "invalid"},
        {"\"a\tb\"@x", "invalid"},
        {"\"a\\\rb\"@x", "invalid"},
    });
}

TEST(Address, RefusesWhatIsNoAddress) {
    expect_walks({
        {"", ""},
        {" \n (just a comment", ""},
        {"joe", "invalid"},
        {"<>", "invalid"},
        {"Joe <joe>", "invalid"},
        {"@x", "invalid"},
        {"joe@", "invalid"},
        {".@.", "invalid"},
        {"a@b@c", "invalid"},
        {"a@b c", "invalid"},
        {"a@.b", "invalid"},
        {"a@b..c", "invalid"},
        {"Joe joe@x", "invalid"},
        {"<<a@b>>", "invalid"},
        {"a@b>", "invalid"},
        {"a\\b@c", "invalid"},
        {"a)@c", "invalid"},
        {"a@\"b\"", "invalid"},
        {"\"a@b", "invalid"},
        {"a@[]", "invalid"},
        {"a@[b", "invalid"},
        {"a@[b].c", "invalid"},
        {"a@b.[c]", "invalid"},
        {"a@[x>,<y@z]", "invalid"},
        {"[a]@b", "invalid"},
        {"a\0b@c"s, "invalid"},
        {"a@b\x7F", "invalid"},
        {"a@b\v", "invalid"},
        {"a@[b\x01]", "invalid"},
    });
}

TEST(Address, PassesOverGroupsAsAWhole) {
    expect_walks({
        {"nobody:;", "group"},
        {"team: a@b, C <c@d>;", "group"},
        {"team: a@b; ann@c", "group  ann|c"},
        {"team: \";\" <a@b>, (;) c@d;, ann@c", "group  ann|c"},
        {"a: b@c;, d:;joe@x", "group  group  joe|x"},
        {"team: a@b, c@d", "group"},
        {"t@m: a@b, c@d;", "group"},
        {"joe@x, team: a@b", "joe|x  group"},
    });
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
