#include "autoresponder/intake.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <optional>

namespace {

using namespace std::string_literals;

struct Intake {
    int status;
    Mail_content mail;
    HeaderFacts facts;
    std::string diagnostics;
};

Intake take_in(const std::string& message, const char* recipient = "box@example.com") {
    Intake intake{};
    testing::internal::CaptureStderr();
    intake.status = read_content(DwString(message), recipient, {}, &intake.mail, &intake.facts);
    intake.diagnostics = testing::internal::GetCapturedStderr();
    return intake;
}

constexpr char no_sender[] =
    "Could not get sender's e-mail address from Reply-To: or From: headers.\n";

TEST(Intake, TakesTheSenderFromReplyToThenFrom) {
    const struct {
        const char* headers;
        const char* sender; // null: refused
    } cases[] = {
        {"From: joe@example.org\n", "joe@example.org"},
        {"From: \"Joe, Jr.\" <joe@example.org>\n", "joe@example.org"},
        {"From: joe@example.org\nReply-To: ann@example.net\n", "ann@example.net"},
        {"From: joe@example.org\nReply-To: team: a@example.net, b@example.net;\n",
         "joe@example.org"},
        {"From: joe@example.org\nReply-To: nobody:;\n", "joe@example.org"},
        {"From: joe@example.org\nReply-To: team: a@example.net;, b@example.net\n", "b@example.net"},
        {"From: joe@example.org\nReply-To: not an address\n", "joe@example.org"},
        {"From: joe, ann@example.org\n", "ann@example.org"},
        {"From: joe\n", nullptr},
        {"From: <>\n", nullptr},
        {"Reply-To: <>\n", nullptr},
        {"Subject: x\n", nullptr},
        {"", nullptr},
    };
    for (const auto& c : cases) {
        const Intake intake = take_in(std::string(c.headers) + "\nbody\n");
        if (c.sender != nullptr) {
            EXPECT_EQ(intake.status, 0) << c.headers;
            EXPECT_EQ(intake.mail.from, c.sender) << c.headers;
        } else {
            EXPECT_EQ(intake.status, 1) << c.headers;
            EXPECT_EQ(intake.diagnostics, no_sender) << c.headers;
            EXPECT_TRUE(intake.mail.body.empty()) << c.headers;
        }
    }
}

TEST(Intake, SplitsTheRecipientAtItsFirstAt) {
    const struct {
        const char *recipient, *mailname, *domain;
    } cases[] = {{"a@b", "a", "b"}, {"a@b@c", "a", "b@c"}, {"bare", "bare", "bare"},
                 {"", "", ""},      {"@b", "", "b"},       {"A@", "A", ""}};
    for (const auto& c : cases) {
        const Intake intake = take_in("From: joe@example.org\n\n", c.recipient);
        EXPECT_EQ(intake.mail.to, c.recipient);
        EXPECT_EQ(intake.mail.mailname, c.mailname) << c.recipient;
        EXPECT_EQ(intake.mail.domain, c.domain) << c.recipient;
    }
}

TEST(Intake, MissingRecipientIsRefusedAfterTheSender) {
    EXPECT_EQ(take_in("From: joe@example.org\n\n", nullptr).diagnostics,
              "Could not get recipient e-mail address from RESP_RECIPIENT environment variable\n");
    EXPECT_EQ(take_in("\n", nullptr).diagnostics, no_sender);
}

TEST(Intake, TakesSubjectAndDateAsWritten) {
    const std::string folded = "=?utf-8?Q?abc?=\n =?utf-8?Q?def?=";
    const struct {
        std::string field, subject, diagnostics;
    } cases[] = {
        {"Hello", "Hello", ""},
        {"caf\xE9 raw", "caf\xE9 raw", ""},
        {"=?koi8-r?B?8NLJ18XU?=", "Привет", ""},
        {folded, "abc\n def", "wrong rfc1522 sequence (trailing stuff): =?utf-8?Q?abc?=\n\n"},
        {"=?nonsense?Q?x?=", "",
         "Could not convert message subject text from US-ASCII to UTF-8.\n"},
    };
    for (const auto& c : cases) {
        const Intake intake =
            take_in("From: joe@example.org\nDate:  Mon, 1 Jan \nSubject: " + c.field + "\n\nx");
        EXPECT_EQ(intake.mail.subject, c.subject);
        EXPECT_EQ(intake.diagnostics, c.diagnostics);
        EXPECT_EQ(intake.mail.date, "Mon, 1 Jan");
    }
}

TEST(Intake, ChoosesTheTextPart) {
    const struct {
        const char *name, *message, *charset, *body;
    } cases[] = {
        {"no content type", "\nhello", "US-ASCII", "hello"},
        {"html counts as text", "Content-Type: text/html; CHARSET=koi8-R\n\n<b>", "koi8-R", "<b>"},
        {"other type", "Content-Type: application/octet-stream\n\nhello", "US-ASCII", ""},
        {"unknown type", "Content-Type: strange/thing; charset=utf-8\n\nhello", "US-ASCII", ""},
        {"first part without a type is skipped",
         "Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b\n"
         "Content-Type: text/html; charset=utf-8\n\ntwo\n--b--\n",
         "utf-8", "two"},
        {"nested multiparts are not entered",
         "Content-Type: multipart/mixed; boundary=b\n\n--b\n"
         "Content-Type: multipart/alternative; boundary=c\n\n--c\n"
         "Content-Type: text/plain; charset=utf-8\n\none\n--c--\n--b--\n",
         "US-ASCII", ""},
        {"base64", "Content-Transfer-Encoding: BASE64\n\nSGVs\nbG8=\n", "US-ASCII", "Hello"},
        {"quoted-printable", "Content-Transfer-Encoding: quoted-printable\n\nHe=6Clo=\n!",
         "US-ASCII", "Hello!"},
        {"8bit without a charset", "Content-Transfer-Encoding: 8bit\n\nA\xE9Z", "US-ASCII", "A?Z"},
        {"cp1251", "Content-Type: text/plain; charset=windows-1251\n\n\xCF\xF0", "windows-1251",
         "Пр"},
        {"quoted charset", "Content-Type: text/plain; charset=\"utf-8\"\n\n\xC3\xA9", "utf-8", "é"},
    };
    for (const auto& c : cases) {
        const Intake intake = take_in(std::string("From: joe@example.org\n") + c.message);
        EXPECT_EQ(intake.mail.charset, c.charset) << c.name;
        EXPECT_EQ(intake.mail.body.text(), c.body) << c.name;
        EXPECT_EQ(intake.diagnostics, "") << c.name;
        EXPECT_FALSE(intake.mail.body.empty()) << c.name;
    }
}

TEST(Intake, KeepsABodyThatCannotBeRecoded) {
    const Intake unknown =
        take_in("From: joe@example.org\nContent-Type: text/plain; charset=x-none\n\n\xFF\xFE");
    EXPECT_EQ(unknown.mail.body.text(), "\xFF\xFE");
    EXPECT_EQ(unknown.diagnostics, "Could not convert message body text from x-none to UTF-8.\n");

    // "w4M=" ends within a character once "gw" is taken away.
    const Intake cut = take_in("From: joe@example.org\nContent-Type: text/plain; charset=utf-8\n"
                               "Content-Transfer-Encoding: base64\n\nYWLD\n");
    EXPECT_EQ(cut.mail.body.text(), "ab\xC3");
    EXPECT_EQ(cut.diagnostics, "Could not convert message body text from utf-8 to UTF-8.\n");
}

TEST(Intake, BodyEndsAtANulByte) {
    const Intake intake = take_in("From: joe@example.org\n\nab\0cd"s);
    EXPECT_EQ(intake.mail.body.text(), "ab");
}

TEST(Intake, ReadsTheSameWhereverBlocksEnd) {
    // Sizes about that of the first room, which holds 65535 bytes more than were expected.
    for (const std::size_t size : {0u, 1u, 65534u, 65535u, 65536u, 131071u, 400000u}) {
        std::string input;
        while (input.size() < size)
            input += static_cast<char>(input.size() % 251);
        for (const std::size_t block : {1u, 7777u, 1u << 20}) {
            for (const std::size_t expected : {std::size_t{0}, size / 2, size}) {
                std::string_view left = input;
                std::string copy;
                const DwString text = read_message(
                    [&](char* to, std::size_t room) {
                        const std::size_t count = left.copy(to, std::min(block, room));
                        left.remove_prefix(count);
                        return count;
                    },
                    [&](std::string_view bytes) { copy += bytes; }, expected);
                EXPECT_TRUE(text.view() == input + "\n" && copy == text.view())
                    << size << ' ' << block << ' ' << expected;
            }
        }
    }
}

} // namespace
