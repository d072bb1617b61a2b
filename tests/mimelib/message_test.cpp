#include "mimelib/mimelib.h"

#include <gtest/gtest.h>

namespace {

std::unique_ptr<DwMessage> parse(const std::string& text) {
    auto message = DwMessage::NewMessage(DwString(text));
    message->Parse();
    return message;
}

TEST(String, SlicesShareTheirBytesAndChangeAlone) {
    const DwString whole("Some TEXT \xC4");
    DwString part = whole.substr(5);
    EXPECT_EQ(part.view().data(), whole.view().data() + 5);
    part.ConvertToLowerCase();
    EXPECT_EQ(part.view(), "text \xC4");
    EXPECT_EQ(whole.view(), "Some TEXT \xC4");
    EXPECT_TRUE(whole.substr(99, 1).empty());

    DwString moved = std::move(part);
    moved = DwString();
    EXPECT_EQ(part.view(), "text \xC4"); // NOLINT(bugprone-use-after-move)
}

TEST(String, GetlineDeliversTheLastLineAsWell) {
    std::string_view text("a\r\n\nb", 5), line;
    EXPECT_TRUE(getline(text, line, '\n'));
    EXPECT_EQ(line, "a\r");
    EXPECT_TRUE(getline(text, line, '\n'));
    EXPECT_EQ(line, "");
    EXPECT_FALSE(getline(text, line, '\n'));
    EXPECT_EQ(line, "b");
    EXPECT_FALSE(getline(text, line, '\n'));
    EXPECT_EQ(line, "");
}

TEST(Message, SplitsHeaderAndBody) {
    const struct {
        std::string text, header, body;
    } cases[] = {
        {"A: 1\n\nbody\n", "A: 1\n", "body\n"},
        {"A: 1\r\nB: 2\n\r\n\nbody", "A: 1\r\nB: 2\n", "\nbody"},
        {"A: 1\n \n\tx\n\nb", "A: 1\n \n\tx\n", "b"},
        {"A: 1\nB: 2", "A: 1\nB: 2", ""},
        {"A: 1\nno field\n\nb", "A: 1\n", "no field\n\nb"},
        {"A: 1\n: x\n", "A: 1\n", ": x\n"},
        {"A : 1\n\nb", "A : 1\n", "b"},
        {" A: 1\n\nb", "", " A: 1\n\nb"},
        {"\nA: 1\n", "", "A: 1\n"},
        {"", "", ""},
        {"From joe Mon 12:00\nA: 1\n\nb", "A: 1\n", "b"},
        {"From : joe\n\nb", "From : joe\n", "b"},
        {"A: 1\nFrom joe 12:00\n", "A: 1\n", "From joe 12:00\n"},
    };
    for (const auto& c : cases) {
        const auto message = parse(c.text);
        EXPECT_EQ(message->Headers().AsString().view(), c.header) << c.text;
        EXPECT_EQ(message->Body().AsString().view(), c.body) << c.text;
        EXPECT_EQ(message->AsString().view(), c.text);
    }
}

TEST(Message, IsEmptyBeforeItIsParsed) {
    const auto message = DwMessage::NewMessage(DwString("From: joe@x\n\nb"));
    EXPECT_FALSE(message->Headers().HasFrom());
    EXPECT_TRUE(message->Body().AsString().empty());
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

TEST(Headers, AbsentFieldsAreEmpty) {
    const auto message = parse("X: y\n\n");
    const DwHeaders& headers = message->Headers();
    EXPECT_FALSE(headers.HasReplyTo() || headers.HasFrom() || headers.HasSubject() ||
                 headers.HasDate() || headers.HasContentType() ||
                 headers.HasContentTransferEncoding());
    EXPECT_FALSE(DwAddressReader(headers.ReplyTo()).Next());
    EXPECT_FALSE(DwAddressReader(headers.From()).Next());
    EXPECT_TRUE(headers.Subject().AsString().empty());
    EXPECT_EQ(headers.ContentType().Type(), DwMime::kTypeUnknown);
    EXPECT_FALSE(DwParameterReader(headers.ContentType()).Next());
    EXPECT_EQ(headers.ContentTransferEncoding().AsEnum(), DwMime::kCteNull);
}

TEST(MediaType, ReadsTypeAndParameters) {
    const struct {
        const char* field;
        int type;
        const char* parameters;
    } cases[] = {
        {"text/plain", DwMime::kTypeText, ""},
        {"TEXT; charset=x", DwMime::kTypeText, "charset=x|"},
        {" (a(b)) Multipart / Mixed", DwMime::kTypeMultipart, ""},
        {"message/rfc822", DwMime::kTypeMessage, ""},
        {"application/pdf", DwMime::kTypeApplication, ""},
        {"textual/plain", DwMime::kTypeUnknown, ""},
        {"/plain; a=b", DwMime::kTypeUnknown, "a=b|"},
        {"", DwMime::kTypeUnknown, ""},
        {"text/plain; CHARSET = koi8-R ; a=\"b;\\\" c\" (x);d", DwMime::kTypeText,
         "CHARSET=koi8-R|a=b;\" c|d=|"},
        {"text/plain;(x) a (=) = (y)b(z);; ;=c;d=e f;g=", DwMime::kTypeText, "a=b|d=e|g=|"},
        {"text/plain; a=\"b\r\n c\\\nd", DwMime::kTypeText, "a=b cd|"},
        {"text/plain \"; a=b\" (; c=d) ; e=f/g=h", DwMime::kTypeText, "e=f/g=h|"},
    };
    for (const auto& c : cases) {
        const DwMediaType type{DwString(c.field)};
        EXPECT_EQ(type.Type(), c.type) << c.field;
        std::string found;
        for (DwParameterReader reader(type); reader.Next();)
            found +=
                reader.Parameter().Attribute().str() + "=" + reader.Parameter().Value().str() + "|";
        EXPECT_EQ(found, c.parameters) << c.field;
    }
}

TEST(Mechanism, KnowsTheEncodings) {
    const std::pair<const char*, int> cases[] = {
        {"7bit", DwMime::kCte7bit},
        {"8BIT", DwMime::kCte8bit},
        {"binary", DwMime::kCteBinary},
        {"Quoted-Printable;", DwMime::kCteQuotedPrintable},
        {"(x)\n base64 (y)", DwMime::kCteBase64},
        {"base-64", DwMime::kCteUnknown},
        {"()", DwMime::kCteNull},
    };
    for (const auto& [field, encoding] : cases)
        EXPECT_EQ(DwMechanism(DwString(field)).AsEnum(), encoding) << field;
}

/// The bodies of all parts, each with a "|" behind it; "none" when there are no parts.
std::string part_bodies(const DwMessage& message) {
    std::string bodies;
    for (DwBodyPartReader parts(message.Body()); parts.Next();)
        bodies += parts.Part().Body().AsString().str() + "|";
    return bodies.empty() ? "none" : bodies;
}

TEST(BodyPart, EndsBeforeTheLineEndOfTheNextDelimiter) {
    const struct {
        const char *boundary, *body, *bodies;
    } cases[] = {
        {"b", "preamble\n--b\n\none\n--b\r\n\r\ntwo\r\n\r\n--b--\n--b\n\nepilogue", "one|two\r\n|"},
        {"b", "--b \t\n\none\n--b-- \nx", "one|"},
        {"b", "--b\n\none\n--bb\n --b\n--b-\n--b--x\n", "one\n--bb\n --b\n--b-\n--b--x\n|"},
        {"b", "--b\n\nno end", "no end|"},
        {"b", "--b\n--b\n\n--b\n\n\n--b\nA: x\n--b\nA: x\n\nx\n--b--", "||||x|"},
        {"b", "--b\nno header\n--b--", "no header|"},
        {"b", "--b--\n--b\n\nx", "none"},
        {"b", "--b", "none"},
        {"b", "--B\n\nx", "none"},
        {"b", "", "none"},
        {"\"b c \"", "--b c\n\nx\n--b c--", "x|"},
        {"\"b\\\n c\"", "--b\n c\n\nx", "none"},
        {"\"\"", "--\n\nx", "none"},
        {"b; boundary=c", "--c\n\nx\n--b\n\ny", "y|"},
    };
    for (const auto& c : cases) {
        const auto message = parse(
            "Content-Type: multipart/mixed; BOUNDARY=" + std::string(c.boundary) + "\n\n" + c.body);
        EXPECT_EQ(part_bodies(*message), c.bodies) << c.boundary << '\n' << c.body;
        EXPECT_EQ(part_bodies(*message), c.bodies) << "second walk";
    }
}

TEST(BodyPart, OnlyAMultipartHasAny) {
    const std::string body = "\n\n--b\n\nx\n--b--\n";
    for (const char* type : {"text/plain; boundary=b", "multipart/mixed", "message/x; boundary=b"})
        EXPECT_EQ(part_bodies(*parse(std::string("Content-Type: ") + type + body)), "none") << type;
}

TEST(BodyPart, HasHeadersAndPartsOfItsOwn) {
    const auto message =
        parse("Content-Type: multipart/mixed; boundary=b\n\n--b\n"
              "Content-Type: multipart/alternative; boundary=c\n\n--c\n\ninner\n--c--\n--b--\n");
    DwBodyPartReader parts(message->Body());
    ASSERT_TRUE(parts.Next());
    EXPECT_EQ(parts.Part().Headers().ContentType().Type(), DwMime::kTypeMultipart);
    DwBodyPartReader inner(parts.Part().Body());
    ASSERT_TRUE(inner.Next());
    EXPECT_EQ(inner.Part().Body().AsString().view(), "inner");
    // Still a slice of the one text.
    EXPECT_EQ(inner.Part().Body().AsString().view().data(),
              message->AsString().view().data() + message->AsString().view().find("inner"));
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
    for (DwBodyPartReader reader(parts->Body()); reader.Next();)
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
    for (DwParameterReader reader(parameters->Headers().ContentType()); reader.Next();)
        ++found;
    EXPECT_EQ(found, count);
}

} // namespace
