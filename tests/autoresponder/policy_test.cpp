// What the host's choices go by: signs of automatic mail, and the identity of a mail.
#include "autoresponder/incoming/automatic.h"
#include "autoresponder/incoming/thread.h"
#include "autoresponder/outgoing/reply_headers.h"
#include "mimelib/mimelib.h"

#include "tests/support/cases.h"

#include <set>
#include <sstream>

namespace {

std::string sign_of(const std::string& header) {
    const HeaderFacts facts = read_header_facts(DwHeaders(DwString(header)), {});
    return facts.bounce.empty() ? facts.automatic : facts.bounce;
}

TEST(Automatic, Signs) {
    for (const Case& row : cases("autoresponder/responder.cases", "signs in the header", 2))
        EXPECT_EQ(sign_of(row[0]), row[1]) << row[0];
    for (const Case& row : cases("autoresponder/responder.cases", "signs in the sender", 2))
        EXPECT_EQ(!sender_sign(row[0]).empty(), row[1] == "yes") << row[0];
    EXPECT_EQ(sender_sign("No-Reply@x"), "From or Reply-To is no-reply");
    EXPECT_EQ(daemon_sign("x-Mailer-Daemon@y"), "From or Reply-To contains mailer-daemon");
    EXPECT_EQ(daemon_sign("joe@DrWeb-Daemon.y"), "From or Reply-To contains drweb-daemon");
    EXPECT_EQ(daemon_sign("mailer@daemon"), "");
}

MailThread thread_of(const std::string& header) {
    return read_header_facts(DwHeaders(DwString(header)), {}).thread;
}

TEST(Thread, OnlyStrictIdentitiesAreTaken) {
    for (const Case& row : cases("autoresponder/responder.cases", "threads", 3)) {
        const MailThread thread = thread_of(row[0]);
        EXPECT_EQ(thread.message_id, row[1]) << row[0].substr(0, 80);
        EXPECT_EQ(thread.references, row[2]) << row[0].substr(0, 80);
        EXPECT_EQ(automatic_reply_headers("x", thread).find("\nIn-Reply-To") == std::string::npos,
                  row[1].empty());
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
