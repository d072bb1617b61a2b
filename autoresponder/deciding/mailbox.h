// Mailbox resolution: finds the mailbox that the recipient address denotes, directly, through a
// mailbox alias, through a domain alias, or through both.
#pragma once

#include "autoresponder/deciding/context.h"

#include <string>

/// Escapes both halves of the recipient, before there is a connection. Without memory the process
/// ends through give_up, with a message.
void escape_recipient(Run& run);

/// Escapes both halves anew where the server's mode gives a backslash no meaning
/// (NO_BACKSLASH_ESCAPES), as the status of the connection tells: what escape_recipient put in
/// front of a quote would there end the literal. To be called before the first lookup.
void adapt_escaping(Run& run);

/// A local part without the first delimiter and what follows it, or as it is where nothing would be
/// left.
std::string without_extension(const std::string& local_part, char delimiter);

/// Looks the recipient up; the first of the four lookups that finds a row decides. When none does,
/// all are tried once more as far as the host chooses: with the domain in its other form, and, each
/// time, without the extension that the host's delimiter begins. False, told, for an unknown
/// mailbox. What was looked up and found is recorded. A failed lookup ends the process through
/// give_up, with its message.
bool find_mailbox(Run& run);
