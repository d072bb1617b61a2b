// What the host's choices go by: signs of automatic mail, and the identity of a mail.
#include "autoresponder/incoming/automatic.h"
#include "autoresponder/incoming/thread.h"
#include "autoresponder/outgoing/reply_headers.h"
#include "mimelib/mimelib.h"

#include "tests/support/cases.h"

namespace {

std::string sign_of(const std::string& header) {
    const HeaderFacts facts = read_header_facts(DwHeaders(DwString(header)), {});
    return facts.bounce.empty() ? facts.automatic : facts.bounce;
}

TEST(Automatic, Signs) {
    for (const Case& row : cases("autoresponder/responder.cases", "signs in the header", 2))
        EXPECT_EQ(sign_of(row[0]), row[1]) << row[0];
    for (const Case& row : cases("autoresponder/responder.cases", "signs in the sender", 2))
        EXPECT_EQ(daemon_sign(row[0]) + sender_sign(row[0]), row[1]) << row[0];
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
    std::string references = automatic_reply_headers("x", thread_of(header + "\n"));
    references.erase(0, references.find("References: "));
    std::erase(references, '\n');
    EXPECT_LE(references.size(), 998u);
    EXPECT_GT(references.size(), 980u);
    EXPECT_TRUE(references.ends_with(" <99998@x> <99999@x> <last@x>")) << references;
}

} // namespace
