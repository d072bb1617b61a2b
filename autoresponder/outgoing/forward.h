// Forwarding: hands the copy of the incoming message to sendmail for a rule's addresses.
#pragma once

#include "autoresponder/deciding/context.h"

#include <string>
#include <vector>

/// The addresses of rule `id` in the server's order, as stored, but for those that sendmail must
/// not see, which are reported. A failed statement throws QueryFailure.
std::vector<std::string> forward_addresses(const Run& run, const std::string& id);

/// Forwards the incoming message, byte for byte as its copy on disk, to all addresses of rule `id`
/// in one call of sendmail, or in as few as take them, waits for it, and records whom it has gone
/// to. In front of its header stands a line that names the mailbox where the host wants circles
/// stopped. Without addresses nothing is started. A copy that cannot be opened is reported and the
/// run goes on; a failed fork ends the process with status 1, a failed statement throws
/// QueryFailure. A run that only tells records whom it would go to.
void forward(Run& run, const std::string& id);
