#include "autoresponder/responder.h"

#include "autoresponder/deciding/limiter.h"
#include "autoresponder/deciding/mailbox.h"
#include "autoresponder/deciding/refusal.h"
#include "autoresponder/deciding/rules.h"
#include "autoresponder/deciding/trigger.h"
#include "autoresponder/outgoing/delivery.h"
#include "autoresponder/outgoing/forward.h"
#include "autoresponder/outgoing/reply.h"
#include "autoresponder/run/ending.h"
#include "autoresponder/run/panel_query.h"
#include "autoresponder/run/switches.h"
#include "autoresponder/run_log.h"
#include "base/report.h"
#include "lib/dbconnect_legacy.h"

namespace {

/// Why the mail is not to be answered. Says so, but of a sender that only a reply would harm.
Refusal told_refusal(const ReplyContext& context) {
    Refusal refusal = refusal_of(context.mail, context.facts, context.mailbox, context.connection,
                                 context.policy);
    if (refusal)
        log_refusal(refusal.reason);
    if (refusal && refusal.fault != Fault::option_like_sender)
        report({"autoresponder: Not answered: ", refusal.reason});
    return refusal;
}

/// Forwards and answers by a rule that is on, where it comes to that. Returns what came of it.
const char* run_rule(const ResponderRule& rule, const ReplyContext& context,
                     const TriggerSearch& triggers, const Refusal& refusal) {
    const Mail_content& mail = context.mail;
    if (!triggers.finds(rule))
        return "no match";
    // What is not answered counts as well: a forward that leads back here would never end.
    if (!can_response_freq(context.connection, &mail, rule.id, rule.ans_freq, rule.mem_limit))
        return "limit reached";
    forward(context.connection, &mail, rule.id);
    if (refusal.fault == Fault::option_like_sender)
        is_safe_argument(mail.from);
    if (refusal)
        return "refused";
    return send_reply(rule, context) ? "answered" : "failed";
}

} // namespace

MysqlConnection open_panel_database(const Policy& policy) {
    MysqlConnection connection(db_connect());
    if (!connection) {
        report_consequence({"autoresponder: Unable to connect to the mysql database "});
        give_up();
    }
    // The server's "utf8" has no characters beyond U+FFFF: it gives and takes "?" for them.
    if (policy.standard_mail && mysql_set_character_set(connection.get(), "utf8mb4") != 0)
        report({"autoresponder: Unable to speak utf8mb4: ", mysql_error(connection.get())});
    return connection;
}

int db_mail_act(Mail_content* mail, const HeaderFacts& facts) {
    const Policy policy = configured_policy();
    EscapedRecipient recipient = escape_recipient(*mail);
    const MysqlConnection connection = open_panel_database(policy);
    adapt_escaping(connection.get(), *mail, recipient);
    const ResolvedMailbox mailbox = resolve_mailbox(connection.get(), *mail, recipient, policy);
    const ReplyContext context{*mail,  mailbox, connection.get(), recipient.domain.get(),
                               policy, facts};
    log_mailbox(mailbox.mail_name, mailbox.domain_name);
    const Refusal refusal = told_refusal(context);

    const MysqlResult rows = query_rules(connection.get(), mailbox.id);
    const TriggerSearch triggers(*mail, policy);
    while (const std::optional<ResponderRule> rule = next_rule(rows)) {
        if (!is_on(*rule))
            continue;
        log_rule(rule->id, "failed");
        log_rule(rule->id, run_rule(*rule, context, triggers, refusal));
    }
    log_completed();
    return 0;
}
