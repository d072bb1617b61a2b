// Mail that nothing comes of, whatever the mailbox and its rules: told by its sender and header,
// before the database is asked.
#pragma once

#include "autoresponder/mail_content.h"
#include "autoresponder/policy/header_facts.h"
#include "autoresponder/policy/switches.h"

#include <string>

/// Why `mail` goes no further, as the line that is written about it; empty when it does.
std::string guard_reason(const Mail_content& mail, const HeaderFacts& facts, const Policy& policy);
