// Notice about missing attachments: tells the client who owns the domain which files a rule names
// that are not in the mailbox's repository.
#pragma once

#include "autoresponder/deciding/context.h"
#include "autoresponder/deciding/rules.h"

#include <string>

/// Mails the notice about `missing`, the names with a line feed behind each, and records it; a run
/// that only tells just records it. There is none when nothing is missing, there is nobody to write
/// to, or an address is no safe argument; what is wrong is reported. Failures never end the
/// process, but for a failed fork (status 1).
void notify_about_missing(const std::string& missing, const ResponderRule& rule, Run& run);
