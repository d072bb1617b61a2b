// Triggers, sought in texts byte for byte, and in mails as programs of today write them, which are
// read in both ways: the table in shown.mails.
#include "autoresponder/deciding/trigger.h"
#include "autoresponder/incoming/cell_reading.h"
#include "base/text.h"
#include "reading/letters.h"
#include "tests/support/cases.h"

#include <ctime>

namespace {

/// Where a rule's trigger is found; "-" for nowhere.
std::string place(const std::string& where, const std::string& trigger, const Mail_content& mail,
                  const Policy& policy = {}) {
    ResponderRule rule;
    rule.key_where = where;
    rule.keystr = trigger;
    const std::optional<TriggerFacts> found = find_trigger(rule, mail, policy);
    return found ? std::to_string(found->offset) + "+" + std::to_string(found->length) : "-";
}

TEST(Trigger, IsFoundAtItsPlace) {
    for (const Case& row : cases("autoresponder/responder.cases", "triggers", 5)) {
        Mail_content mail;
        mail.subject = row[2];
        mail.body = row[3];
        EXPECT_EQ(place(row[0], row[1], mail), row[4]) << row[1] << " in " << row[2] << row[3];
    }
}

TEST(Trigger, SlowsTheSearchDownInNoCase) {
    Mail_content mail;
    mail.subject.assign(4'000'000, 'a');
    mail.body = mail.subject;
    const std::clock_t start = std::clock();
    for (const char* where : {"subj", "body"})
        EXPECT_EQ(place(where, std::string(400'000, 'a') + "b", mail), "-");
    EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 5);
}

struct Row {
    std::string name;
    std::vector<std::string> expectations;
    std::string mail;
};

std::vector<Row> read_table() {
    std::ifstream file(OVK_TESTS_FOLDER "/autoresponder/shown.mails");
    std::vector<Row> rows;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("%% "))
            rows.push_back({line.substr(3), {}, ""});
        else if (!rows.empty() && line.starts_with("%") && rows.back().mail.empty())
            rows.back().expectations.push_back(unescaped(line.substr(1)));
        else if (!rows.empty())
            rows.back().mail +=
                unescaped(line) + (rows.back().name.starts_with("crlf ") ? "\r\n" : "\n");
    }
    return rows;
}

/// A mail as it is read in one of the ways; from "-" where it is refused.
struct Mail {
    Policy policy;
    Mail_content content;

    Mail(const std::string& text, bool as_shown, bool ignore_case = false) {
        policy.read_as_shown = as_shown;
        policy.ignore_case = ignore_case;
        content.from = "-";
        testing::internal::CaptureStderr();
        if (auto reading = read_in_cell(DwString(text), "box@example.com", policy))
            content = std::move(reading->mail);
        testing::internal::GetCapturedStderr();
    }
};

TEST(Shown, MailsAreReadAsPersonsSeeThem) {
    const std::vector<Row> rows = read_table();
    ASSERT_GT(rows.size(), 10u);
    for (const Row& row : rows) {
        const Mail shown(row.mail, true), plain(row.mail, false), folded(row.mail, true, true);
        EXPECT_FALSE(row.expectations.empty()) << row.name;
        for (const std::string& expected : row.expectations) {
            std::string found = concat({"subject ", shown.content.subject});
            if (expected.starts_with("from ")) {
                found = concat({"from ", shown.content.from, " ", plain.content.from});
            } else if (!expected.starts_with("subject ")) {
                found.clear();
                for (const Mail* const mail : {&shown, &plain, &folded})
                    found += place(expected[4] == 's' ? "subj" : "body", expected.substr(6),
                                   mail->content, mail->policy) == "-"
                                 ? '-'
                                 : '+';
                found += expected.substr(3);
            }
            EXPECT_EQ(found, expected) << row.name << '\n' << shown.content.body;
        }
    }
}

TEST(Shown, EveryAlternativeIsLookedAtOnce) {
    // Three times that is more than is looked at.
    const std::string parts = times(4000, "--b\nContent-Type: text/html\n\n<br>\n");
    const std::string mail =
        concat({"From: a@b.c\nContent-Type: multipart/alternative; boundary=b\n\n", parts,
                "--b\nContent-Type: text/enriched\n\nfound\n--b--\n"});
    EXPECT_EQ(Mail(mail, true).content.body, "found");
}

TEST(Shown, ALetterWithManyMarksTakesItsFormAsWell) {
    const std::string letter = concat({"a", times(1000, "\u0301")});
    EXPECT_TRUE(contains(orvek::letters_of_line(letter, orvek::Case::counts), "\u00e1"));
}

} // namespace
