#include "mimelib/mimelib.h"
#include "mimelib/transfer.h"

#include "base/text.h"
#include "tests/support/cases.h"

namespace {

std::unique_ptr<DwMessage> parse(const std::string& text) {
    auto message = DwMessage::NewMessage(DwString(text));
    message->Parse();
    return message;
}

TEST(String, SlicesShareTheirBytes) {
    const DwString whole("Some ZEST \xC4");
    DwString part = whole.substr(5);
    EXPECT_EQ(part.view().data(), whole.view().data() + 5);
    EXPECT_TRUE(whole.substr(99, 1).empty());

    DwString moved = std::move(part);
    moved.ConvertToLowerCase();
    EXPECT_EQ(moved.view(), "zest \xC4");
    EXPECT_EQ(part.view(), "ZEST \xC4"); // NOLINT(bugprone-use-after-move)
}

std::string describe(const DwAddress& address) {
    if (address.IsGroup())
        return "group";
    if (!address.IsValid())
        return "invalid";
    const DwMailbox mailbox(address);
    return mailbox.LocalPart().str() + "|" + mailbox.Domain().str();
}

TEST(Address, WalksOverLists) {
    for (const Case& row : cases("mimelib/mimelib.cases", "addresses", 2)) {
        const DwAddressList list{DwString(row[0])};
        std::string found;
        for (auto address = list.FirstAddress(); address; address = address->Next())
            found += (found.empty() ? "" : "  ") + describe(*address);
        EXPECT_EQ(found, row[1]) << row[0];
    }
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

TEST(Message, SplitsHeaderAndBody) {
    for (const Case& row : cases("mimelib/mimelib.cases", "header and body", 3)) {
        const auto message = parse(row[0]);
        EXPECT_EQ(message->Headers().AsString().view(), row[1]) << row[0];
        EXPECT_EQ(message->Body().AsString().view(), row[2]) << row[0];
        EXPECT_EQ(message->AsString().view(), row[0]);
    }
}

std::string parameters(const DwMediaType& type) {
    std::string found;
    for (auto parameter = type.FirstParameter(); parameter; parameter = parameter->Next())
        found += parameter->Attribute().str() + "=" + parameter->Value().str() + "|";
    return found;
}

TEST(MediaType, ReadsTypeAndParameters) {
    for (const Case& row : cases("mimelib/mimelib.cases", "media types", 3)) {
        const DwMediaType type{DwString(row[0])};
        EXPECT_EQ(type.Type() == DwMime::kTypeText, row[1] == "text") << row[0];
        EXPECT_EQ(type.Type() == DwMime::kTypeMultipart, row[1] == "multipart") << row[0];
        EXPECT_EQ(parameters(type), row[2]) << row[0];
    }
}

/// The bodies of all parts, each with a "|" behind it; "none" when there are no parts.
std::string part_bodies(const DwMessage& message) {
    std::string bodies;
    for (auto part = message.Body().FirstBodyPart(); part; part = part->Next())
        bodies += part->Body().AsString().str() + "|";
    return bodies.empty() ? "none" : bodies;
}

TEST(BodyPart, EndsBeforeTheLineEndOfTheNextDelimiter) {
    for (const Case& row : cases("mimelib/mimelib.cases", "body parts", 3)) {
        const auto message = parse("Content-Type: " + row[0] + "\n\n" + row[1]);
        EXPECT_EQ(part_bodies(*message), row[2]) << row[0] << '\n' << row[1];
    }
}

std::string repeat(const std::string& unit) {
    return times(1 << 19, unit);
}

TEST(Message, TakesHostileMessagesInOnePass) {
    EXPECT_EQ(
        part_bodies(*parse("Content-Type: multipart/x; boundary=b\n\n" + repeat("--b\n"))).size(),
        repeat("|").size() - 1);
    const std::string subject = concat({"s", repeat("\n "), "t"});
    const auto fields =
        parse(repeat("A: b\n") + "Subject: " + subject + "\n" + repeat("Subject: t\n"));
    EXPECT_TRUE(fields->Headers().Subject().AsString().view() == subject);
    EXPECT_TRUE(parameters(DwMediaType(DwString("text/x" + repeat(";") + repeat(";a=b")))) ==
                repeat("a=b|"));
}

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
