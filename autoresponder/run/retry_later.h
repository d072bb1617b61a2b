// What fails for a while is tried again by the mail server, where the host chooses so (switches.h),
// as long as nothing has been sent: a second run must not answer twice.
#pragma once

#include <mysql.h>
#include <string>

/// From now on the run ends as on a host that has not chosen: a forward or a reply is on its way,
/// or what fails will fail again. Notices do not count.
void rule_out_retry();

/// Whether an end for now would have the mail tried again.
bool is_retry_possible();

/// Statements that take back what has just been recorded for an answer that is yet to be sent. They
/// are forgotten with rule_out_retry. `connection` lives until the process ends.
void take_back_on_retry(MYSQL* connection, const std::string& statement);

/// The status of a run that has failed for a while: 0 where it is not to be tried again, else the
/// host's number, after taking back what was recorded; where that fails, it is told on standard
/// error.
int retry_status();
