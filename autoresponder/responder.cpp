#include "autoresponder/responder.h"

#include "autoresponder/deciding/limiter.h"
#include "autoresponder/deciding/mailbox.h"
#include "autoresponder/deciding/refusal.h"
#include "autoresponder/deciding/rules.h"
#include "autoresponder/deciding/trigger.h"
#include "autoresponder/outgoing/forward.h"
#include "autoresponder/outgoing/reply.h"
#include "autoresponder/run/ending.h"
#include "autoresponder/run/panel_query.h"
#include "base/report.h"
#include "lib/dbconnect_legacy.h"

namespace {

/// Forwards and answers by a rule, where it comes to that. Returns what came of it.
Outcome run_rule(const ResponderRule& rule, Run& run) {
    if (!rule.is_on())
        return Outcome::off;
    if (!rule.is_due())
        return Outcome::outside;
    const std::optional<TriggerFacts> found = find_trigger(rule, run.reading.mail, run.policy);
    if (!found)
        return Outcome::no_match;
    run.account.rule().trigger = found;
    // What is not answered counts as well: a forward that leads back here would never end.
    if (!can_response_freq(run, rule))
        return Outcome::limit_reached;
    forward(run, rule.id);
    if (!is_safe_argument(run.reading.mail.from) || !run.account.refusal.empty())
        return Outcome::refused;
    return send_reply(rule, run) ? Outcome::answered : Outcome::failed;
}

} // namespace

void open_panel_database(Run& run) {
    escape_recipient(run);
    run.connection.reset(db_connect());
    MYSQL* const connection = run.connection.get();
    if (connection == nullptr) {
        report_consequence({"autoresponder: Unable to connect to the mysql database "});
        give_up();
    }
    // The server's "utf8" has no characters beyond U+FFFF: it gives and takes "?" for them.
    if (run.policy.standard_mail && mysql_set_character_set(connection, "utf8mb4") != 0)
        report({"autoresponder: Unable to speak utf8mb4: ", mysql_error(connection)});
    if (!run.acts()) { // and nobody waits for what it reads, whatever the server's default
        run_query_patiently_or_throw(connection,
                                     "set session transaction isolation level repeatable read");
        run_query_patiently_or_throw(connection,
                                     "start transaction with consistent snapshot, read only");
    }
    adapt_escaping(run);
}

int db_mail_act(Run& run) {
    open_panel_database(run);
    if (!find_mailbox(run) || !look_for_refusal(run))
        return 0;
    Rules rules(run);
    while (const std::optional<ResponderRule> rule = rules.next()) {
        run.account.begin_rule(rule->id);
        run.account.rule().outcome = run_rule(*rule, run);
    }
    run.account.completed = true;
    return 0;
}
