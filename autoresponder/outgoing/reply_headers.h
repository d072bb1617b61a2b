// Header lines that make a reply a good citizen of the mail network: a date, an identity, its place
// in the thread, and what keeps other programs from answering it. Written only if the host chooses
// so (switches.h).
#pragma once

#include "autoresponder/deciding/context.h"

#include <string>

/// Date, Message-ID, Auto-Submitted, X-Auto-Response-Suppress and, in a thread, In-Reply-To and
/// References: lines of at most 998 characters, each ended by a line feed. The Message-ID is new at
/// each call; without an ASCII form of `domain`, the recipient's, there is none, and sendmail adds
/// its own (RFC 3834 section 3.1, RFC 5322 section 3.6).
std::string automatic_reply_headers(const std::string& domain, const MailThread& thread);

/// The same for the mail of the run; empty where the host has not chosen them.
std::string chosen_headers(const Run& run);

/// The same of a reply, which must not be answered where automatic mail is refused: two such hosts
/// would go on for ever.
std::string chosen_reply_headers(const Run& run);
