// Mail that nothing comes of, whatever the mailbox and its rules: told by its sender and header,
// before the database is asked.
#pragma once

#include "autoresponder/deciding/refusal.h"
#include "autoresponder/incoming/header_facts.h"
#include "autoresponder/incoming/mail_content.h"
#include "autoresponder/run/switches.h"

/// Why `mail` goes no further; the reason is the line that is written about it. No fault when it
/// does.
Refusal guard(const Mail_content& mail, const HeaderFacts& facts, const Policy& policy);
