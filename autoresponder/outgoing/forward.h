// Forwarding: hands the copy of the incoming message to sendmail for a rule's addresses.
#pragma once

#include "autoresponder/incoming/mail_content.h"

#include <mysql.h>
#include <string>
#include <vector>

struct ForwardPlan {
    /// The recipient, to whom a bounce goes.
    std::string envelope_sender;
    /// The rule's addresses in the server's order, as stored, but for those that sendmail must not
    /// see. Without any nothing is forwarded.
    std::vector<std::string> recipients;
};

/// What rule `id` forwards to. Addresses that sendmail would take for options are left out, which
/// is reported; a failed query ends the process through give_up.
ForwardPlan plan_forward(MYSQL* connection, const Mail_content& mail, const std::string& id);

/// Forwards the incoming message, byte for byte as its copy on disk, to all addresses of rule `id`
/// in one call of sendmail, as planned, and waits for it. Without addresses nothing is started. A
/// copy that cannot be opened is reported and the run goes on; a failed query ends the process
/// through give_up, a failed fork with status 1. What sendmail makes of the message is not looked
/// at.
void forward(MYSQL* connection, const Mail_content* mail, std::string id);
