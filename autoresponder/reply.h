// Reply composition: builds the reply of one rule in a temporary file, replaces it by a short error
// reply when it is larger than the mail system allows, and has it delivered.
#pragma once

#include "autoresponder/mail_content.h"
#include "autoresponder/mailbox.h"
#include "autoresponder/policy/header_facts.h"
#include "autoresponder/policy/switches.h"
#include "autoresponder/rules.h"

#include <mysql.h>
#include <string>

/// What every reply of a run shares. Points at what db_mail_act holds.
struct ReplyContext {
    const Mail_content& mail;
    const ResolvedMailbox& mailbox;
    MYSQL* connection;
    /// Mail_content.domain, escaped for a quoted SQL literal.
    const char* escaped_domain;
    const Policy& policy;
    const HeaderFacts& facts;
};

/// Composes and delivers the reply of `rule`. Files that the rule names and that do not exist are
/// told to the client by mail, and the reply goes without them. Returns when the reply has been
/// handed to sendmail or given up. A failed attachment query ends the process through correct_exit;
/// the fatal failures of the delivery end it with status 1 (see delivery.h).
void send_reply(const ResponderRule& rule, const ReplyContext& context);

/// A boundary of 39 characters, different at each call (RFC 2046). The generator is not seeded:
/// every process draws the same sequence.
std::string makeBoundaryStr();
