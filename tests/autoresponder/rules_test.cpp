#include "autoresponder/rules.h"

#include <ctime>
#include <gtest/gtest.h>

namespace {

TEST(Rules, TriggerIsSoughtWhereTheRuleSays) {
    const struct {
        const char *where, *trigger, *subject, *body;
        bool matches;
    } cases[] = {
        {"subj", "order", "Re: order 17", "", true},
        {"subj", "order", "reorder", "", true},
        {"subj", "order", "Order", "order", false},
        {"subj", "", "", "", true},
        {"subj", "a\nb", "a\nb", "", true},
        {"body", "order", "order", "nothing", false},
        {"body", "order", "", "first\nmy order\n", true},
        {"body", "my\norder", "", "my\norder", false},
        {"body", "", "", "", true},
        {"body", "заказ", "", "ваш заказ", true},
        {"no", "absent", "", "", true},
        {"", "absent", "", "", true},
        {"SUBJ", "absent", "", "", true},
        {" body", "absent", "", "", true},
    };
    for (const auto& c : cases) {
        ResponderRule rule;
        rule.key_where = c.where;
        rule.keystr = c.trigger;
        Mail_content mail;
        mail.subject = c.subject;
        mail.body.append(c.body);
        EXPECT_EQ(trigger_matches(rule, mail), c.matches) << c.where << " " << c.trigger;
    }
}

TEST(Rules, ABodyWithoutLinesMatchesNothing) {
    ResponderRule rule;
    rule.key_where = "body";
    EXPECT_FALSE(trigger_matches(rule, Mail_content()));
}

TEST(Rules, NoTriggerSlowsTheSearchDown) {
    ResponderRule rule;
    rule.keystr = std::string(400'000, 'a') + "b";
    Mail_content mail;
    mail.subject.assign(4'000'000, 'a');
    mail.body.append(mail.subject);
    const std::clock_t start = std::clock();
    for (const char* where : {"subj", "body"}) {
        rule.key_where = where;
        EXPECT_FALSE(trigger_matches(rule, mail));
    }
    EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 5);
}

TEST(Rules, OnlyTheExactWordSwitchesARuleOff) {
    const std::pair<const char*, bool> cases[] = {
        {"false", false}, {"False", true}, {"", true}, {"false ", true}, {"true", true}};
    for (const auto& [value, on] : cases) {
        ResponderRule rule;
        rule.resp_on = value;
        EXPECT_EQ(is_on(rule), on) << value;
    }
}

TEST(TextLines, AppendsToTheLinesThatAreThere) {
    TextLines lines;
    lines.append("a\nb");
    lines.append("c");
    EXPECT_EQ(lines.text(), "a\nb\nc");
    EXPECT_FALSE(lines.any_contains("bc"));
    TextLines empty_line;
    empty_line.append("");
    empty_line.append("x");
    EXPECT_EQ(empty_line.text(), "\nx");
}

} // namespace
