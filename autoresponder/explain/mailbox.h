// Which mailbox a recipient denotes, and what there is nearby when there is none.
#pragma once

#include "autoresponder/explain/facts.h"
#include "autoresponder/incoming/mail_content.h"
#include "autoresponder/run/switches.h"

#include <mysql.h>

/// Only `mail`'s recipient is asked for. `escaped_domain` is its domain for a quoted literal.
MailboxFacts explain_mailbox(MYSQL* connection, const Mail_content& mail,
                             const EscapedRecipient& recipient, const Policy& policy);
