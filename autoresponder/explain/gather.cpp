#include "autoresponder/explain/gather.h"

#include "autoresponder/deciding/refusal.h"
#include "autoresponder/explain/mailbox.h"
#include "autoresponder/explain/rules.h"
#include "autoresponder/outgoing/delivery.h"
#include "autoresponder/outgoing/reply_context.h"
#include "autoresponder/responder.h"
#include "autoresponder/run/panel_query.h"
#include "base/text.h"

namespace {

void count(const RuleFacts& rule, Explanation& told) {
    const bool replies = rule.outcome == Outcome::answered;
    // Its forward and its notice are sent before a reply fails.
    const bool comes_to_reply = replies || rule.outcome == Outcome::failed;
    const bool forwards = comes_to_reply || rule.outcome == Outcome::refused;
    const auto one_if = [](bool holds) { return static_cast<std::size_t>(holds); };
    told.forwards += one_if(forwards && !rule.forwards.empty());
    told.replies += one_if(replies);
    told.notices += one_if(comes_to_reply && rule.notice);
}

std::string reason_of_rules(const std::vector<RuleFacts>& rules) {
    const auto any = [&](Outcome outcome) {
        for (const RuleFacts& rule : rules) {
            if (rule.outcome == outcome)
                return true;
        }
        return false;
    };
    if (rules.empty())
        return "the mailbox has no rules";
    if (any(Outcome::on))
        return {};
    if (any(Outcome::failed))
        return "the reply fails";
    if (any(Outcome::limit_reached))
        return "the limit of every rule that matches is reached";
    return any(Outcome::no_match) ? "no rule that is on matches" : "no rule is on";
}

std::string reason(const Explanation& told) {
    if (told.mail.stopped || (!told.mail.refusal.empty() && told.mailbox.found))
        return told.mail.refusal;
    if (!told.mailbox.found && !told.mailbox.switched_off_alias_of.empty())
        return "the mail of the alias domain is switched off";
    if (!told.mailbox.found)
        return told.mailbox.domain_known ? "no such mailbox" : "no such domain";
    return told.replies > 0 ? "" : reason_of_rules(told.rules);
}

} // namespace

Explanation explain(const Question& question, const Policy& policy, Descriptor& reply) {
    Explanation told;
    Reading reading;
    told.mail = read_mail(question, policy, &reading);
    EscapedRecipient recipient = escape_recipient(reading.mail);
    const MysqlConnection connection = open_panel_database(policy);
    run_query_or_exit(connection.get(), "start transaction with consistent snapshot, read only");
    adapt_escaping(connection.get(), reading.mail, recipient);
    told.mailbox = explain_mailbox(connection.get(), reading.mail, recipient, policy);
    if (told.mailbox.found) {
        const ReplyContext context{reading.mail,     *told.mailbox.found,
                                   connection.get(), recipient.domain.get(),
                                   policy,           reading.facts};
        if (told.mail.given && !told.mail.stopped)
            told.mail.refusal = refusal_of(reading.mail, reading.facts, *told.mailbox.found,
                                           connection.get(), policy)
                                    .reason;
        told.rules = explain_rules(context, told.mail, question, reply);
    }
    for (const RuleFacts& rule : told.rules)
        count(rule, told);
    told.sendmail_problem = sendmail_problem();
    told.no_reply = reason(told);
    return told;
}
