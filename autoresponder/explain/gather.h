// Finds out what the program would do with a mail, without doing it: the stages' own verdicts, put
// together. Only selects are sent, in a transaction that cannot write.
#pragma once

#include "autoresponder/explain/facts.h"
#include "autoresponder/incoming/reading.h"
#include "autoresponder/run/switches.h"
#include "base/owned.h"
#include "mimelib/mimelib.h"

#include <optional>
#include <string>

/// What is to be explained.
struct Question {
    std::string recipient;
    /// A line feed more than the mail, as the intake takes it; none without a mail.
    std::optional<DwString> mail;
    /// Whose reply is to be kept; empty for none.
    std::string reply_of;
};

/// Reads the mail. Whatever comes of it, the recipient is known.
MailFacts read_mail(const Question& question, const Policy& policy, Reading* reading);

/// Explains it all. `reply` becomes the one that the question asks for, if there is one. A failed
/// statement ends the process through give_up, with its message.
Explanation explain(const Question& question, const Policy& policy, Descriptor& reply);
