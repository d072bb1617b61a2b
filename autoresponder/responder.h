// The responder run: everything that happens between a usable incoming message and the end of the
// process. It holds the one database connection of the run.
#pragma once

#include "autoresponder/incoming/header_facts.h"
#include "autoresponder/incoming/mail_content.h"
#include "autoresponder/run/switches.h"
#include "lib/mysql_owned.h"

/// The connection of a run, never null. A failure ends the process through give_up, with its
/// message.
MysqlConnection open_panel_database(const Policy& policy);

/// Finds the recipient's mailbox and lets each of its rules answer. Returns 0 whenever it returns.
/// Failures of the database work end the process through give_up, fatal failures of the
/// delivery with status 1; each has written its message by then.
int db_mail_act(Mail_content* mail, const HeaderFacts& facts);
