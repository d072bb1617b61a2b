// Reply-frequency limiter: how often a rule answers one sender in a day, and how many senders it
// remembers. All state is in table resp_freq.
#pragma once

#include "autoresponder/deciding/context.h"
#include "autoresponder/deciding/rules.h"

/// Decides whether the rule may answer the sender now, and records the answer if so. Its ans_freq
/// is the most replies a sender gets per calendar day of the database server, or in as many as its
/// schedule says from the first of them on, its mem_limit the most senders remembered, both as
/// decimal text. Senders that differ only in the case of ASCII
/// letters or in a dot behind the domain are one. It is recorded in lower case, a byte beyond ASCII
/// as "\xHH"; of a name of more than 254 bytes its first 190 and a hash. An answer is decided and
/// recorded in one transaction where the table has them, with an advisory lock around it all that
/// spares runs for the same rule and sender each other: one that cannot be had within 5 seconds is
/// told on standard error, and the run goes on without. When the server gives the transaction up
/// for another run's, everything is read anew, up to 20 times, and once for a row that stayed
/// locked. Returns 1 to answer, 0 to stay silent. Any other failure throws QueryFailure; where a
/// connection was lost that may have counted the answer, that is told first. A run that only tells
/// reads how things stand, and records that in its account.
int can_response_freq(Run& run, const ResponderRule& rule);
