#include "mimelib/mimelib.h"

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

TEST(Message, SplitsHeaderAndBody) {
    for (const Case& row : cases("mimelib/mimelib.cases", "header and body", 3)) {
        const auto message = parse(row[0]);
        EXPECT_EQ(message->Headers().AsString().view(), row[1]) << row[0];
        EXPECT_EQ(message->Body().AsString().view(), row[2]) << row[0];
        EXPECT_EQ(message->AsString().view(), row[0]);
    }
}

TEST(Headers, KeepFieldsAsWritten) {
    const auto message = parse("subject: \t one\r\n two \n \r\nX-Subject: no\nSUBJECT: three\n"
                               "Date:\n");
    const DwHeaders& headers = message->Headers();
    ASSERT_TRUE(headers.HasSubject());
    EXPECT_EQ(headers.Subject().AsString().view(), "one\r\n two");
    ASSERT_TRUE(headers.HasDate());
    EXPECT_EQ(headers.Date().AsString().view(), "");
}

TEST(MediaType, ReadsTypeAndParameters) {
    for (const Case& row : cases("mimelib/mimelib.cases", "media types", 3)) {
        const DwMediaType type{DwString(row[0])};
        EXPECT_EQ(type.Type() == DwMime::kTypeText, row[1] == "text") << row[0];
        EXPECT_EQ(type.Type() == DwMime::kTypeMultipart, row[1] == "multipart") << row[0];
        std::string found;
        for (auto parameter = type.FirstParameter(); parameter; parameter = parameter->Next())
            found += parameter->Attribute().str() + "=" + parameter->Value().str() + "|";
        EXPECT_EQ(found, row[2]) << row[0];
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
        const auto message =
            parse("Content-Type: multipart/mixed; BOUNDARY=" + row[0] + "\n\n" + row[1]);
        EXPECT_EQ(part_bodies(*message), row[2]) << row[0] << '\n' << row[1];
    }
}

TEST(BodyPart, OnlyAMultipartHasAny) {
    const std::string body = "\n\n--b\n\nx\n--b--\n";
    for (const char* type : {"text/plain; boundary=b", "multipart/mixed", "message/x; boundary=b"})
        EXPECT_EQ(part_bodies(*parse(std::string("Content-Type: ") + type + body)), "none") << type;
}

TEST(Message, TakesHostileMessagesInOnePass) {
    const auto repeat = [](const char* unit, std::size_t times) {
        std::string text;
        while (times-- > 0)
            text += unit;
        return text;
    };
    constexpr std::size_t count = 1 << 19;

    const auto parts = parse("Content-Type: multipart/x; boundary=b\n\n" + repeat("--b\n", count));
    std::size_t found = 0;
    for (auto part = parts->Body().FirstBodyPart(); part; part = part->Next())
        ++found;
    EXPECT_EQ(found, count - 1);

    const auto fields =
        parse(repeat("A: b\n", count) + "Subject: s\n" + repeat("Subject: t\n", count));
    EXPECT_EQ(fields->Headers().Subject().AsString().view(), "s");

    const auto folded = parse("Subject: s" + repeat("\n ", count) + "t\n\nb");
    EXPECT_EQ(folded->Headers().Subject().AsString().size(), 2 * count + 2);

    const auto parameters =
        parse("Content-Type: text/x" + repeat(";", count) + repeat(";a=b", count));
    found = 0;
    for (auto parameter = parameters->Headers().ContentType().FirstParameter(); parameter;
         parameter = parameter->Next())
        ++found;
    EXPECT_EQ(found, count);
}

} // namespace
