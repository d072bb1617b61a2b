// Delivery: the two ways in which a message reaches sendmail, and what they share. The envelope
// goes on sendmail's command line, so no header line decides where a message goes.
#pragma once

#include "autoresponder/mail_content.h"
#include "autoresponder/policy/switches.h"

#include <string>
#include <sys/types.h>

inline constexpr char sendmail_path[] = "/usr/sbin/sendmail";

/// Whether `text`, which somebody outside chose, may stand where sendmail takes an option. One that
/// begins with "-" would be one, and can name a configuration that runs programs as root; that is
/// told on standard error. What stands behind "-f" needs no asking: -f takes its argument.
bool is_safe_argument(const std::string& text);

/// Hands the finished reply file (resp_uu_file_name) to sendmail, waits for it and removes the
/// file. When the file cannot be opened, the recipient's address has no ASCII form or memory runs
/// out, the process ends with status 1 after a message on both output streams; the file then stays.
/// What sendmail makes of the message is not looked at.
void deliver_reply(const Mail_content& mail, const Policy& policy);

/// Streams `text` into sendmail through a pipe and waits for it. Failures are reported on standard
/// error and give the notice up, as does an address that is no safe argument; only a failed fork
/// ends the process (status 1).
void deliver_notice(const std::string& envelope_sender, const std::string& recipient,
                    const std::string& text);

/// Waits until `child` has ended or stopped, however long that takes. Its status is not looked at.
void wait_for(pid_t child);

/// To be called while an exception is handled. An IDN failure, a runtime error and exhausted memory
/// end the process with status 1 after a message on both output streams, temporary files left in
/// place; anything else is thrown on.
[[noreturn]] void end_on_send_failure();
