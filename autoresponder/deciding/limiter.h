// Reply-frequency limiter: how often a rule answers one sender in a day, and how many senders it
// remembers. All state is in table resp_freq.
#pragma once

#include "autoresponder/incoming/mail_content.h"

#include <cstdint>
#include <mysql.h>
#include <optional>
#include <string>
#include <vector>

/// How a rule's bookkeeping stands for one sender.
struct LimiterVerdict {
    /// Answers that the sender has had today; none when the rule does not remember the sender.
    std::optional<std::int32_t> answers;
    std::int32_t most_answers = 0;
    /// Senders that the rule remembers.
    std::int32_t senders = 0;
    std::int32_t most_senders = 0;

    bool allows() const { return most_answers > 0 && (!answers || *answers < most_answers); }
    /// Whether the oldest senders make room for this one.
    bool evicts() const { return allows() && !answers && senders >= most_senders; }
};

/// The verdict as it would be now. Only reads; entries of earlier days do not count. The arguments
/// and a failed statement are those of can_response_freq.
LimiterVerdict limiter_verdict(MYSQL* connection, const Mail_content& mail, const std::string& id,
                               const std::string& ans_freq, const std::string& mem_limit);

/// The senders that would make room.
std::vector<std::string> senders_to_evict(MYSQL* connection, const std::string& id);

/// Decides whether rule `id` may answer the sender now, and records the answer if so. `ans_freq` is
/// the most replies a sender gets per calendar day of the database server, `mem_limit` the most
/// senders remembered, both as decimal text. Senders that differ only in the case of ASCII letters
/// or in a dot behind the domain are one. It is recorded in lower case, a byte beyond ASCII as
/// "\xHH"; of a name of more than 254 bytes its first 190 and a hash. An answer is decided and
/// recorded in one transaction where the table has them, with an advisory lock around it all that
/// spares runs for the same rule and sender each other: one that cannot be had within 5 seconds is
/// told on standard error, and the run goes on without. When the server gives the transaction up
/// for another run's, everything is read anew, up to 20 times, and once for a row that stayed
/// locked. Returns 1 to answer, 0 to stay silent. Any other failure ends the process through
/// end_for_failure; where a connection was lost that may have counted the answer, that is told
/// first.
int can_response_freq(MYSQL* connection, const Mail_content* mail, std::string id,
                      std::string ans_freq, std::string mem_limit);
