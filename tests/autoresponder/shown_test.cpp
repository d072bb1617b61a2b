// Mails as programs of today write them, read in both ways: the table in shown.mails.
#include "autoresponder/deciding/trigger.h"
#include "autoresponder/incoming/intake.h"
#include "base/text.h"
#include "reading/letters.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <vector>

namespace {

struct Row {
    std::string name;
    std::vector<std::string> expectations;
    std::string mail;
};

/// {HH} is a byte.
std::string without_escapes(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '{' && i + 3 < text.size() && text[i + 3] == '}') {
            plain += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 3;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

std::vector<Row> read_table() {
    std::ifstream file(OVK_TESTS_FOLDER "/autoresponder/shown.mails");
    std::vector<Row> rows;
    for (std::string line; std::getline(file, line);) {
        if (line.substr(0, 3) == "%% ")
            rows.push_back({line.substr(3), {}, ""});
        else if (!rows.empty() && line.substr(0, 1) == "%" && rows.back().mail.empty())
            rows.back().expectations.push_back(without_escapes(line.substr(1)));
        else if (!rows.empty())
            rows.back().mail +=
                without_escapes(line) + (rows.back().name.substr(0, 5) == "crlf " ? "\r\n" : "\n");
    }
    return rows;
}

struct Mail {
    Policy policy;
    Mail_content mail;

    Mail(const std::string& text, bool as_shown, bool ignore_case) {
        policy.read_as_shown = as_shown;
        policy.ignore_case = ignore_case;
        testing::internal::CaptureStderr();
        std::optional<Reading> reading = read_content(DwString(text), "box@example.com", policy);
        testing::internal::GetCapturedStderr();
        if (reading)
            mail = std::move(reading->mail);
        else
            mail.from.assign(1, '-');
    }

    char finds(char where, const std::string& trigger) const {
        ResponderRule rule;
        rule.key_where = where == 's' ? "subj" : "body";
        rule.keystr = trigger;
        return TriggerSearch(mail, policy).finds(rule) ? '+' : '-';
    }
};

TEST(Shown, MailsAreReadAsPersonsSeeThem) {
    const std::vector<Row> rows = read_table();
    ASSERT_GT(rows.size(), 10u);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const Mail shown(row.mail, true, false);
        const Mail plain(row.mail, false, false);
        const Mail folded(row.mail, true, true);
        EXPECT_FALSE(row.expectations.empty());
        for (const std::string& expected : row.expectations) {
            if (expected.substr(0, 5) == "from ") {
                EXPECT_EQ(concat({"from ", shown.mail.from, " ", plain.mail.from}), expected);
            } else if (expected.substr(0, 8) == "subject ") {
                EXPECT_EQ(concat({"subject ", shown.mail.subject}), expected);
            } else {
                const char where = expected.at(4);
                const std::string trigger = expected.substr(6);
                const std::string marks = {shown.finds(where, trigger), plain.finds(where, trigger),
                                           folded.finds(where, trigger)};
                EXPECT_EQ(concat({marks, expected.substr(3)}), expected) << shown.mail.body.text();
            }
        }
    }
}

TEST(Shown, ALetterWithManyMarksTakesItsFormAsWell) {
    std::string letter = "a";
    while (letter.size() < 2000)
        letter += "\u0301";
    EXPECT_TRUE(contains(orvek::letters_of_line(letter, orvek::Case::counts), "\u00e1"));
}

} // namespace
