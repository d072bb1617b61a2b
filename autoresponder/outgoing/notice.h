// Notice about missing attachments: tells the client who owns the domain which files a rule names
// that are not in the mailbox's repository.
#pragma once

#include "autoresponder/deciding/rules.h"
#include "autoresponder/outgoing/reply_context.h"

#include <optional>
#include <string>

/// A notice that is due.
struct NoticePlan {
    std::string envelope_sender;
    std::string recipient;
    /// The whole mail.
    std::string text;
};

/// The notice about `missing`, the names with a line feed behind each. None when there is nobody to
/// write to, or an address is no safe argument; what is wrong is reported.
std::optional<NoticePlan> plan_notice(const std::string& missing, const ResponderRule& rule,
                                      const ReplyContext& context);

/// Mails it. Failures are reported on standard error and never end the process, but for a failed
/// fork (status 1).
void notify_about_missing(const std::string& missing, const ResponderRule& rule,
                          const ReplyContext& context);
