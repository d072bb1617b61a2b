#include "autoresponder/deciding/trigger.h"

#include "tests/support/cases.h"

#include <ctime>

namespace {

TEST(Rules, TriggerIsSoughtWhereTheRuleSays) {
    for (const Case& row : cases("autoresponder/responder.cases", "triggers", 5)) {
        ResponderRule rule;
        rule.key_where = row[0];
        rule.keystr = row[1];
        Mail_content mail;
        mail.subject = row[2];
        mail.body = row[3];
        EXPECT_EQ(find_trigger(rule, mail, {}).has_value(), row[4] == "yes")
            << row[0] << " " << row[1];
    }
}

std::string place(const std::optional<TriggerFacts>& found) {
    return found ? std::to_string(found->offset) + "+" + std::to_string(found->length) : "-";
}

TEST(Rules, TriggerIsFoundAtItsPlace) {
    for (const Case& row : cases("autoresponder/responder.cases", "places", 3)) {
        ResponderRule rule;
        rule.key_where = "body";
        rule.keystr = row[0];
        Mail_content mail;
        mail.body = row[1];
        EXPECT_EQ(place(find_trigger(rule, mail, {})), row[2]) << row[0] << " in " << row[1];
    }
}

TEST(Rules, NoTriggerSlowsTheSearchDown) {
    ResponderRule rule;
    rule.keystr = std::string(400'000, 'a') + "b";
    Mail_content mail;
    mail.subject.assign(4'000'000, 'a');
    mail.body = mail.subject;
    const std::clock_t start = std::clock();
    for (const char* where : {"subj", "body"}) {
        rule.key_where = where;
        EXPECT_FALSE(find_trigger(rule, mail, {}));
    }
    EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 5);
}

} // namespace
