// Refusal of mail, first of all of automatic mail, where the host chooses so (switches.h).
#pragma once

#include "autoresponder/deciding/mailbox.h"
#include "autoresponder/incoming/header_facts.h"
#include "autoresponder/incoming/mail_content.h"
#include "autoresponder/run/switches.h"

#include <mysql.h>
#include <string>
#include <string_view>

/// What is wrong with a mail that nobody gets an answer to. An option-like sender is one that
/// sendmail would take for an option.
enum class Fault {
    none,
    own_mail,
    mailer_daemon,
    long_sender,
    bounce,
    option_like_sender,
    automatic,
    mailbox_itself,
    not_addressed
};

struct Refusal {
    Fault fault = Fault::none;
    /// In words; empty without a fault.
    std::string reason;

    explicit operator bool() const { return fault != Fault::none; }
};

/// Whether sendmail would take `text` for an option where it takes one: what somebody outside chose
/// can so name a configuration that runs programs as root. What stands behind "-f" needs no asking:
/// -f takes its argument.
bool looks_like_option(std::string_view text);

/// Why `mail` is a bounce, which is neither answered nor forwarded nor counted: whatever comes of
/// it would come back. Empty for any other mail.
std::string bounce_reason(const Mail_content& mail, const HeaderFacts& facts);

/// Why `mail` is not to be answered: a sender that looks like an option and, as far as the host's
/// policy asks, a sign that no person wrote it (automatic.h), a sender that is the recipient or, by
/// any of its names, the mailbox itself, or a header that names no address of the mailbox. No fault
/// when it is to be answered. Looks up the mailbox's aliases; a failed statement ends the process
/// through give_up, with its message. Nothing is reported or written otherwise.
Refusal refusal_of(const Mail_content& mail, const HeaderFacts& facts,
                   const ResolvedMailbox& mailbox, MYSQL* connection, const Policy& policy);
