// What the stages of a run are given.
#pragma once

#include "autoresponder/incoming/reading.h"
#include "autoresponder/run/account.h"
#include "autoresponder/run/switches.h"
#include "base/owned.h"
#include "lib/mysql_owned.h"

#include <string>
#include <sys/types.h>

/// The two halves of the recipient, escaped for a quoted SQL literal; zero-terminated. Escaped
/// before there is a connection, so that the connection's character set plays no part in it.
struct EscapedRecipient {
    /// Mail_content.domain.
    MallocedText domain;
    /// Mail_content.mailname.
    MallocedText mailname;
};

/// The means by which a run sends: a program that only tells does not even hold them.
struct Sending {
    /// Starts sendmail with its arguments, the message on its standard input; its process id.
    pid_t (*start)(int message, const char* const arguments[]);
    /// Writes `text` to a pipe, which is closed then.
    void (*stream)(int pipe, const std::string& text);
};

struct Run {
    explicit Run(const Policy& choice, const Sending* means = nullptr)
        : policy(choice), sending(means) {}

    /// The host's choice.
    const Policy policy;
    /// Null in a run that only tells.
    const Sending* const sending;
    /// Whether the run does what its stages decide. Asked where something is recorded, forwarded,
    /// told by a notice or answered, and nowhere else.
    bool acts() const { return sending != nullptr; }
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
