#include "autoresponder/responder.h"

#include "autoresponder/diagnostics.h"
#include "autoresponder/forward.h"
#include "autoresponder/limiter.h"
#include "autoresponder/mailbox.h"
#include "autoresponder/panel_query.h"
#include "autoresponder/process.h"
#include "autoresponder/reply.h"
#include "autoresponder/rules.h"
#include "lib/dbconnect_legacy.h"

namespace {

MysqlConnection open_panel_database() {
    MysqlConnection connection(db_connect());
    if (!connection) {
        report({"autoresponder: Unable to connect to the mysql database "});
        correct_exit();
    }
    return connection;
}

} // namespace

int db_mail_act(Mail_content* mail) {
    const EscapedRecipient recipient = escape_recipient(*mail);
    const MysqlConnection connection = open_panel_database();
    const ResolvedMailbox mailbox = resolve_mailbox(connection.get(), *mail, recipient);
    const ReplyContext context{*mail, mailbox, connection.get(), recipient.domain.get()};

    const MysqlResult rows = query_rules(connection.get(), mailbox.id);
    while (const std::optional<ResponderRule> rule = next_rule(rows)) {
        if (!is_on(*rule) || !trigger_matches(*rule, *mail))
            continue;
        if (!can_response_freq(connection.get(), mail, rule->id, rule->ans_freq, rule->mem_limit))
            continue;
        forward(connection.get(), mail, rule->id);
        send_reply(*rule, context);
    }
    return 0;
}
