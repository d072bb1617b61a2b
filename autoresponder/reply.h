// Reply composition: builds the reply of one rule in a temporary file, replaces it by a short error
// reply when it is larger than the mail system allows, and has it delivered.
#pragma once

#include "autoresponder/reply_context.h"
#include "autoresponder/rules.h"

#include <string>

/// Composes and delivers the reply of `rule`. Files that the rule names and that do not exist are
/// told to the client by mail, and the reply goes without them. Returns when the reply has been
/// handed to sendmail or given up: whether it is sent. A failed attachment query ends the process
/// through give_up; a recipient without an ASCII form and a reply file that cannot be opened end it
/// with status 1.
bool send_reply(const ResponderRule& rule, const ReplyContext& context);

/// A boundary of 39 characters, different at each call (RFC 2046). The generator is not seeded:
/// every process draws the same sequence.
std::string makeBoundaryStr();
