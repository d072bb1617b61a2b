// Notice about missing attachments: tells the client who owns the domain which files a rule names
// that are not in the mailbox's repository.
#pragma once

#include "autoresponder/reply_context.h"
#include "autoresponder/rules.h"

#include <string>

/// Mails the notice. `missing` holds the names, a line feed behind each. Failures are reported on
/// standard error and never end the process, but for a failed fork (status 1).
void notify_about_missing(const std::string& missing, const ResponderRule& rule,
                          const ReplyContext& context);
