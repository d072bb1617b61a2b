// Delivery: how a message reaches sendmail. The envelope goes on sendmail's command line, so no
// header line decides where a message goes.
#pragma once

#include "base/owned.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// Whether sendmail would take `text` for an option where it takes one: what somebody outside chose
/// can so name a configuration that runs programs as root. What stands behind "-f" needs no asking:
/// -f takes its argument.
bool looks_like_option(std::string_view text);

/// Whether it does not; when it does, that is told on standard error.
bool is_safe_argument(const std::string& text);

/// Starts sendmail with `message` as its standard input, does what there is to do `meanwhile`, and
/// waits until it has ended or stopped, however long that takes. The recipients are safe arguments.
/// Returns its status as waitpid tells it. A failed fork ends the process (status 1).
int hand_to_sendmail(
    Descriptor message, const std::string& envelope_sender,
    const std::vector<std::string>& recipients, const std::function<void()>& meanwhile = [] {});

/// Hands the finished reply file to sendmail and removes it. When it cannot be opened, the process
/// ends with status 1 after a message on both output streams; the file then stays. What sendmail
/// makes of the message is not looked at.
void deliver_reply(const std::string& envelope_sender, const std::string& recipient);

/// Streams `text` into sendmail through a pipe. Failures are reported on standard error and give
/// the notice up, as does an address that is no safe argument; only a failed fork ends the process
/// (status 1).
void deliver_notice(const std::string& envelope_sender, const std::string& recipient,
                    const std::string& text);
