// Forwarding: hands the copy of the incoming message to sendmail for a rule's addresses.
#pragma once

#include "autoresponder/mail_content.h"

#include <mysql.h>
#include <string>

/// Forwards the incoming message, byte for byte as its copy on disk, to all addresses of rule `id`
/// in one call of sendmail, with the recipient as envelope sender, and waits for it. Addresses that
/// sendmail would take for options are left out, which is reported. Without addresses nothing is
/// started. A copy that cannot be opened is reported and the run goes on; a failed query ends the
/// process through give_up, a failed fork with status 1. What sendmail makes of the message is
/// not looked at.
void forward(MYSQL* connection, const Mail_content* mail, std::string id);
