// Responder rules: the rows of a mailbox, and which of them a message triggers.
#pragma once

#include "autoresponder/mail_content.h"
#include "lib/mysql_owned.h"

#include <optional>
#include <string>

/// One row of mail_resp. Every field is the column of its name as the database returned it; the
/// value given here stands in only for NULL.
struct ResponderRule {
    std::string id = "0";
    /// Trigger text, in UTF-8.
    std::string keystr;
    /// "subj" or "body"; anything else is a rule without a trigger.
    std::string key_where = "no";
    /// Reply text, in UTF-8; nothing is substituted in it.
    std::string text;
    /// "false" switches the rule off; anything else leaves it on.
    std::string resp_on = "false";
    /// Most replies to one sender a day, as decimal text.
    std::string ans_freq = "10";
    /// Most senders that the bookkeeping keeps, as decimal text.
    std::string mem_limit = "1000";
    /// Subject of the reply with placeholders; empty for "Re: " and the incoming subject.
    std::string subject;
    /// Reply-To of the reply; empty for none.
    std::string reply_to;
    std::string charset = "UTF-8";
    std::string content_type = "text/plain";
};

/// All rules of a mailbox, in the server's order; `mailbox_id` goes unquoted into the statement. A
/// failure ends the process through correct_exit, with its message.
MysqlResult query_rules(MYSQL* connection, const std::string& mailbox_id);

/// The next rule of the result; none after the last.
std::optional<ResponderRule> next_rule(const MysqlResult& rows);

bool is_on(const ResponderRule& rule);

/// Whether the rule's trigger occurs, byte for byte, in the subject or within one line of the body;
/// true for a rule without a trigger.
bool trigger_matches(const ResponderRule& rule, const Mail_content& mail);
