// What the stages of a run are given.
#pragma once

#include "autoresponder/incoming/reading.h"
#include "autoresponder/run/account.h"
#include "autoresponder/run/switches.h"
#include "base/owned.h"
#include "lib/mysql_owned.h"

#include <string>

/// The two halves of the recipient, escaped for a quoted SQL literal; zero-terminated. Escaped
/// before there is a connection, so that the connection's character set plays no part in it.
struct EscapedRecipient {
    /// Mail_content.domain.
    MallocedText domain;
    /// Mail_content.mailname.
    MallocedText mailname;
};

struct Run {
    explicit Run(const Policy& choice, bool act = true) : policy(choice), acts(act) {}

    /// The host's choice.
    const Policy policy;
    /// Whether the run does what its stages decide; else it only tells. Asked where something is
    /// recorded, forwarded, told by a notice or answered, and nowhere else.
    const bool acts;
    Reading reading;
    EscapedRecipient recipient;
    MysqlConnection connection;
    Account account;
    /// Whose reply a run that only tells is to keep, and that reply; empty for none.
    std::string kept_rule;
    Descriptor kept_reply;

    /// Once it is found.
    const ResolvedMailbox& mailbox() const { return *account.mailbox; }
};
