// The responder run: everything that happens between a usable incoming message and the end of the
// process.
#pragma once

#include "autoresponder/deciding/context.h"

/// Escapes the recipient and opens the connection of the run; in one that only tells, nothing can
/// be written over it. A failure ends the process through give_up, with its message.
void open_panel_database(Run& run);

/// Finds the recipient's mailbox and lets each of its rules answer; what comes of it stands in the
/// account of the run. Returns 0 whenever it returns. Failures of the database work end the process
/// through give_up or throw QueryFailure, fatal failures of the delivery end it with status 1 or
/// throw what does; each that ends it has written its message by then.
int db_mail_act(Run& run);
