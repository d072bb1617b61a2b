// What the stages of a reply share.
#pragma once

#include "autoresponder/deciding/mailbox.h"
#include "autoresponder/incoming/header_facts.h"
#include "autoresponder/incoming/mail_content.h"
#include "autoresponder/outgoing/reply_headers.h"
#include "autoresponder/run/switches.h"

#include <mysql.h>
#include <string>

/// The same for every reply of a run. Points at what db_mail_act holds.
struct ReplyContext {
    const Mail_content& mail;
    const ResolvedMailbox& mailbox;
    MYSQL* connection;
    /// Mail_content.domain, escaped for a quoted SQL literal.
    const char* escaped_domain;
    const Policy& policy;
    const HeaderFacts& facts;

    /// The header lines that only some hosts choose; empty on the others.
    std::string chosen_headers() const {
        return policy.reply_headers ? automatic_reply_headers(mail.domain, facts.thread)
                                    : std::string();
    }
};
