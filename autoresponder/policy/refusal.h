// Refusal of automatic mail, where the host chooses so (switches.h).
#pragma once

#include "autoresponder/mail_content.h"
#include "autoresponder/mailbox.h"
#include "autoresponder/policy/header_facts.h"
#include "autoresponder/policy/switches.h"

#include <mysql.h>
#include <string>

/// Why `mail` is a bounce, which is neither answered nor forwarded nor counted: whatever comes of
/// it would come back. Empty for any other mail.
std::string bounce_reason(const Mail_content& mail, const HeaderFacts& facts);

/// Why `mail` is not to be answered, as far as the host's policy asks: a sign that no person wrote
/// it (automatic.h), a sender that is the recipient or, by any of its names, the mailbox itself, or
/// a header that names no address of the mailbox. Empty when it is to be answered. Looks up the
/// mailbox's aliases; a failed statement ends the process through correct_exit, with its message.
std::string refusal_reason(const Mail_content& mail, const HeaderFacts& facts,
                           const ResolvedMailbox& mailbox, MYSQL* connection, const Policy& policy);
