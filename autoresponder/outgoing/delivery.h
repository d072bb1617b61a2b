// Delivery: how a message reaches sendmail. The envelope goes on sendmail's command line, so no
// header line decides where a message goes.
#pragma once

#include "autoresponder/deciding/context.h"
#include "base/owned.h"

#include <string>
#include <vector>

/// What a run that acts is given.
extern const Sending by_sendmail;

/// Why there is no sendmail to be started: the system error; empty where there is one.
std::string sendmail_problem();

/// Starts sendmail with `message` as its standard input; its process id. The recipients are safe
/// arguments. This is the one way to it: in a run that only tells it ends the process, as a failed
/// fork does (status 1).
pid_t start_sendmail(const Run& run, Descriptor message, const std::string& envelope_sender,
                     const std::vector<std::string>& recipients);

/// Waits until it has ended or stopped, however long that takes. Once it has taken a forward or a
/// reply, the mail is not tried again; one that it has not taken ends the process through
/// give_up_if_retried, except where it is refused for good. Whether it is sent. What sendmail makes
/// of the message is looked at, and told, only where the host has mail tried again; else it counts
/// as sent.
bool is_sent(const Run& run, pid_t sendmail);

/// Sends one.
bool send_message(const Run& run, Descriptor message, const std::string& envelope_sender,
                  const std::vector<std::string>& recipients);

/// Sends the finished reply file and removes it; whether it is sent. When it cannot be opened, the
/// process ends with status 1 after a message on both output streams; the file then stays. Where
/// the host has mail tried again, a reply that could not be written whole counts as not sent.
bool deliver_reply(const Run& run, const std::string& envelope_sender,
                   const std::string& recipient);

/// Streams `text` into sendmail through a pipe. Both addresses are safe arguments. Failures are
/// reported on standard error and give the notice up; only a failed fork ends the process (status
/// 1).
void deliver_notice(const Run& run, const std::string& envelope_sender,
                    const std::string& recipient, const std::string& text);
