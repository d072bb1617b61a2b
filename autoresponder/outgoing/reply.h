// Reply composition: builds the reply of one rule in a temporary file, replaces it by a short error
// reply when it is larger than the mail system allows, and has it delivered.
#pragma once

#include "autoresponder/deciding/context.h"
#include "autoresponder/deciding/rules.h"

#include <string>

/// Composes and delivers the reply of `rule`. Files that the rule names and that do not exist are
/// told to the client by mail, behind the reply while the mail may be tried again, else before it,
/// and the reply goes without them. Returns when the reply has been
/// handed to sendmail or given up: whether it is sent. A failed attachment query throws
/// QueryFailure, a recipient without an ASCII form orvek::idn::IdnaError; a reply file that cannot
/// be opened ends the process with status 1. A run that only tells records the reply, and keeps it
/// where it is asked to.
bool send_reply(const ResponderRule& rule, Run& run);

/// A boundary of 39 characters, different at each call (RFC 2046). The generator is not seeded:
/// every process draws the same sequence.
std::string makeBoundaryStr();
