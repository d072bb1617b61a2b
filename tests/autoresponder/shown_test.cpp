// Mails as programs of today write them, read in both ways: the table in shown.mails.
#include "autoresponder/deciding/trigger.h"
#include "autoresponder/incoming/cell_reading.h"
#include "base/text.h"
#include "reading/characters.h"
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
        std::optional<Reading> reading = read_in_cell(DwString(text), "box@example.com", policy);
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
        return find_trigger(rule, mail, policy).has_value() ? '+' : '-';
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
                EXPECT_EQ(concat({marks, expected.substr(3)}), expected) << shown.mail.body;
            }
        }
    }
}

TEST(Shown, EveryAlternativeIsLookedAtOnce) {
    std::string mail = "From: a@b.c\nContent-Type: multipart/alternative; boundary=b\n\n";
    for (int part = 0; part < 4000; ++part) // three times that is more than is looked at
        mail += "--b\nContent-Type: text/html\n\n<br>\n";
    mail += "--b\nContent-Type: text/enriched\n\nfound\n--b--\n";
    EXPECT_EQ(Mail(mail, true, false).mail.body, "found");
}

TEST(Shown, ALetterWithManyMarksTakesItsFormAsWell) {
    std::string letter = "a";
    while (letter.size() < 2000)
        letter += "\u0301";
    EXPECT_TRUE(contains(orvek::letters_of_line(letter, orvek::Case::counts), "\u00e1"));
}

TEST(Shown, ATerminalGetsNoCharacterThatIsNotSeen) {
    const std::string marks = "a\u0301\u0301\u0301\u0301\u0301\u0301";
    const std::string broken = "\xFF\n\t\r\\\x1B";
    const struct {
        bool utf8;
        std::string text, expected;
    } rows[] = {
        {true, broken, "\\xFF\\n\\t\\r\\\\\\x1B"},
        {false, broken, "\\xFF\\n\\t\\r\\\\\\x1B"},
        {true, "Gr\u00FC\u00DFe \U0001F600", "Gr\u00FC\u00DFe \U0001F600"},
        {false, "Gr\u00FC\u00DFe \U0001F600", "Gr\\u{00FC}\\u{00DF}e \\u{1F600}"},
        {true, "\u202E\u200B\u0085\uE000", "\\u{202E}\\u{200B}\\u{0085}\\u{E000}"},
        {true, "\u034F\uFE0F\u3164\u115F\u2800\u180B\U000E0100",
         "\\u{034F}\\u{FE0F}\\u{3164}\\u{115F}\\u{2800}\\u{180B}\\u{E0100}"},
        {true, marks + "\u0301b\u0301", marks + "\\u{0301}b\u0301"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(orvek::printable(row.text, row.utf8), row.expected);
}

} // namespace
