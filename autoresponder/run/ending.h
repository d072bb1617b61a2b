// How a run ends: done, for now, or in failure. What ends for now is tried again by the mail
// server, where the host chooses so, as long as nothing has been sent: a second run must not answer
// twice.
#pragma once

#include <mysql.h>
#include <string>

/// The status of each end. Unless told otherwise nothing is tried again: the end for now is that of
/// what is done.
struct Statuses {
    int done = 0;
    int for_now = 0;
    int in_failure = 1;
    /// Not 0 where the mail is older than that many hours: an end for now, or in failure, is then
    /// the last one. It says so, and is that of what is done.
    int given_up_after = 0;
};

/// From now on the process ends with these.
void set_statuses(const Statuses& statuses);

/// Has every end that comes from elsewhere go through here: an exception that nobody caught, and a
/// failure of the library.
void prepare_endings();

/// Done: removes both temporary files, whether they exist or not, and ends the process: the mail
/// server has no more to do, whatever came of the mail.
[[noreturn]] void correct_exit();

/// For now: something fails that may work another time. The same, and where the mail is tried again
/// what has been recorded for it is taken back; where that fails, it is told.
[[noreturn]] void give_up();

/// The same where the mail is tried again; else returns.
void give_up_if_retried();

/// The end for an exception that is being handled, or that nobody handled. Of a statement that
/// failed: that is told, and the end is that of give_up; a mail is not tried again for what its own
/// bytes may have caused. Of any other, in failure: it is said on both output streams, and the
/// temporary files stay for whoever looks into it, since mail may be in flight. Where want of
/// memory has the mail tried again, the end is that of give_up.
[[noreturn]] void end_on_exception();

/// Whether an end for now has the mail tried again.
bool is_retry_possible();

/// From now on it has not: a forward or a reply is on its way, or what fails will fail again.
/// Notices do not count.
void rule_out_retry();

/// A statement that takes back what has just been recorded for an answer that is yet to be sent. It
/// is forgotten with rule_out_retry. `connection` lives until the process ends.
void take_back_on_retry(MYSQL* connection, const std::string& statement);
