// What came of a run, in one line of the system log's mail facility, as mail servers write theirs.
// Only where the host chooses so: without start_run_log nothing is written. The stages say what
// they did; whatever way the process exits, the line then holds how far it got.
#pragma once

#include "autoresponder/incoming/header_facts.h"
#include "autoresponder/incoming/mail_content.h"

#include <cstddef>
#include <string_view>

/// Starts the clock, and has the line written when the process exits. Both are read at
/// that moment and must still be there.
void start_run_log(const Mail_content& mail, const HeaderFacts& facts);

/// Why nobody gets an answer to this mail. Without it, and without log_completed, the line has what
/// was said last in its place, whoever said it.
void log_refusal(std::string_view reason);

/// All rules have been dealt with.
void log_completed();

/// The mailbox that was found.
void log_mailbox(std::string_view name, std::string_view domain);

/// What came of a rule that is on. The last word on a rule counts.
void log_rule(std::string_view id, std::string_view outcome);

/// How many addresses sendmail got the mail for; that it got a notice.
void log_forward(std::size_t addresses);
void log_notice();
