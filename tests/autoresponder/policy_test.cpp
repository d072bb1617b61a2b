// What the host's choices go by: signs of automatic mail, and the identity of a mail.
#include "autoresponder/policy/automatic.h"
#include "autoresponder/policy/thread.h"

#include <gtest/gtest.h>
#include <set>
#include <sstream>

namespace {

std::string sign_of(const std::string& header) {
    const DwHeaders headers{DwString(header)};
    const std::string bounce = bounce_sign(headers);
    return bounce.empty() ? automatic_sign(headers) : bounce;
}

TEST(Automatic, SignsInTheHeader) {
    const struct {
        const char* header;
        const char* reason; // empty: an ordinary mail
    } cases[] = {
        {"Auto-Submitted: no\n", ""},
        {"auto-submitted: (really) NO ; x=y\n", ""},
        {"Auto-Submitted: auto-replied\n", "Auto-Submitted says so"},
        {"Auto-Submitted: nope\n", "Auto-Submitted says so"},
        {"Auto-Submitted: (no)\n", "Auto-Submitted says so"},
        {"Auto-Submitted:\n", "Auto-Submitted says so"},
        {"Auto-Submitted: no\nAuto-Submitted: auto-generated\n", "Auto-Submitted says so"},
        {"List-Id:\n", "List-Id is present"},
        {"LIST-UNSUBSCRIBE: <mailto:x>\n", "List-Unsubscribe is present"},
        {"List-Help: x\n", "List-Help is present"},
        {"List-Subscribe: x\n", "List-Subscribe is present"},
        {"List-Post: NO\n", "List-Post is present"},
        {"List-Owner: x\n", "List-Owner is present"},
        {"List-Archive: x\n", "List-Archive is present"},
        {"List-Wish: x\nX-List-Id: x\nSubject: List-Id: x\n", ""},
        {"Precedence: BULK\n", "Precedence is bulk"},
        {"Precedence: (x) list (y)\n", "Precedence is list"},
        {"Precedence: junk\n", "Precedence is junk"},
        {"Precedence: first-class\nPrecedence: \n", ""},
        {"X-Auto-Response-Suppress: DR, oof\n", "X-Auto-Response-Suppress holds oof"},
        {"X-Auto-Response-Suppress: All\n", "X-Auto-Response-Suppress holds all"},
        {"X-Auto-Response-Suppress: DR,\n\tAutoReply\n",
         "X-Auto-Response-Suppress holds autoreply"},
        {"X-Auto-Response-Suppress: DR, NDR, RN, NRN, (all\n", ""},
        {"Content-Type: multipart/report; report-type=x\n", "Content-Type is multipart/report"},
        {"Content-Type: (a) Multipart (b) / (c) REPORT\n", "Content-Type is multipart/report"},
        {"Content-Type: multipart/reporter\n", ""},
        {"Content-Type: text/report\nContent-Type: multipart\n", ""},
        {"Return-Path: <>\n", "Return-Path is null"},
        {"Return-Path: ( ) < >\n", "Return-Path is null"},
        {"Auto-Submitted: auto-replied\nReturn-Path: <>\n", "Return-Path is null"},
        {"X-Spam-Flag: NO\nX-Spam-Status: No, score=1.0\nX-Spam: yes\n", ""},
        {"X-Spam-Flag: YES\n", "A spam filter says so"},
        {"X-Spam-Status: Yes, score=9.1 required=5.0\n", "A spam filter says so"},
        {"Return-Path: <joe@example.org>\nReturn-Path:\n", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(sign_of(c.header), c.reason) << c.header;
}

TEST(Automatic, SignsInTheSender) {
    const struct {
        const char* sender;
        bool automatic;
    } cases[] = {
        {"Mailer-Daemon@x", false},      {"postmaster@x", true},       {"LISTSERV@x", true},
        {"majordomo@x", true},           {"noreply@x", true},          {"No-Reply@x", true},
        {"do-not-reply@x", true},        {"donotreply@x", true},       {"\"noreply\"@x", true},
        {"owner-talk@x", true},          {"talk-request@x", true},     {"talk-owner@x", true},
        {"talk-bounces@x", true},        {"shop-noreply@x", true},     {"joe@noreply", false},
        {"noreply1@x", false},           {"owner@x", false},           {"request@x", false},
        {"owner-talk.joe@x", true},      {"postmaster.x@x", false},    {"\"a@b-request\"@x", true},
        {"joe-request@x-request", true}, {"joe@owner-request", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(!sender_sign(c.sender).empty(), c.automatic) << c.sender;
    EXPECT_EQ(sender_sign("No-Reply@x"), "From or Reply-To is no-reply");
    EXPECT_EQ(daemon_sign("x-Mailer-Daemon@y"), "From or Reply-To contains mailer-daemon");
    EXPECT_EQ(daemon_sign("joe@DrWeb-Daemon.y"), "From or Reply-To contains drweb-daemon");
    EXPECT_EQ(daemon_sign("mailer@daemon"), "");
}

MailThread thread_of(const std::string& header) {
    return read_thread(DwHeaders(DwString(header)));
}

TEST(Thread, OnlyStrictIdentitiesAreTaken) {
    const std::string longest = "<" + std::string(981, 'a') + "@b>";
    const struct {
        std::string header;
        std::string message_id;
        std::string references;
    } cases[] = {
        {"Message-ID: <a.b@c>\n", "<a.b@c>", ""},
        {"message-id:\n <a@[10.0.0.1]> (comment <x@y>)\n", "<a@[10.0.0.1]>", ""},
        {"Message-ID: <a@b>\nReferences: <1@x>\n\t<2@x>junk<3@x>\n", "<a@b>", "<1@x> <2@x> <3@x> "},
        {"Message-ID: <a@b>\nIn-Reply-To: <1@x>\n", "<a@b>", "<1@x> "},
        {"Message-ID: <a@b>\nIn-Reply-To: <1@x> <2@x>\n", "<a@b>", ""},
        {"Message-ID: <a@b>\nIn-Reply-To: <1@x>\nReferences: none\n", "<a@b>", ""},
        {"Message-ID: <a@b>\nReferences: <x\r\n y@z> <..@z> <@> <a@b@c> <1@x>\n", "<a@b>",
         "<1@x> "},
        {"References: <1@x>\n", "", ""},
        {"Message-ID: <a@b> <c@d>\n", "", ""},
        {"Message-ID: <a\n b@c>\n", "", ""},
        {"Message-ID: <a@b>\r\nMessage-ID: <c@d>\r\n", "<a@b>", ""},
        {"Message-ID: a@b\n", "", ""},
        {"Message-ID: <a b@c>\n", "", ""},
        {"Message-ID: <\"a\"@c>\n", "", ""},
        {"Message-ID: <a@\xC3\xA4>\n", "", ""},
        {"Message-ID: <a@[x\\]>\n", "", ""},
        {std::string("Message-ID: <a\0@b>\n", 19), "", ""},
        {"Message-ID: " + longest + "\nReferences: <1@x>\n", longest, ""},
        {"Message-ID: <a" + longest.substr(1) + "\n", "", ""},
        {"Message-ID: <" + std::string(1 << 20, 'a') + "@b>\n", "", ""},
    };
    for (const auto& c : cases) {
        const MailThread thread = thread_of(c.header);
        EXPECT_EQ(thread.message_id, c.message_id) << c.header.substr(0, 80);
        EXPECT_EQ(thread.references, c.references) << c.header.substr(0, 80);
    }
}

TEST(Thread, ReferencesLoseTheirOldest) {
    std::string header = "Message-ID: <last@x>\nReferences:";
    for (int i = 0; i < 100000; ++i)
        header += " <" + std::to_string(i) + "@x>";
    std::istringstream lines(automatic_reply_headers("b\xC3\xBC"
                                                     "cher.example",
                                                     thread_of(header + "\n")));
    std::string line, references;
    std::set<std::string> names;
    while (std::getline(lines, line)) {
        EXPECT_LE(line.size(), 998u);
        if (line[0] != ' ')
            names.insert(line.substr(0, line.find(':')));
        if (!references.empty() || line.starts_with("References: "))
            references += line;
    }
    EXPECT_EQ(names, (std::set<std::string>{"Auto-Submitted", "Date", "In-Reply-To", "Message-ID",
                                            "References", "X-Auto-Response-Suppress"}));
    EXPECT_LE(references.size(), 998u);
    EXPECT_GT(references.size(), 980u);
    EXPECT_TRUE(references.ends_with(" <99998@x> <99999@x> <last@x>")) << references;
}

} // namespace
