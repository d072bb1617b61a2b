// The frame of the process: the names of its two temporary files, the state that it wants to start
// from, and its ways out.
#pragma once

inline constexpr char mail_file_template[] = "/tmp/ovk-autoresponder-XXXXXX";
inline constexpr char reply_file_template[] = "/tmp/ovk-response-uu-XXXXXX";

/// Name of the copy of the incoming message; the template until the intake has made the file.
extern char mail_file_name[sizeof mail_file_template];

/// Name of the reply file; the template until the first reply, and again before each later one.
extern char resp_uu_file_name[sizeof reply_file_template];

/// Puts the process into a state that does not depend on who started it: descriptors 0, 1 and 2
/// are open (on /dev/null where the caller left them closed, so that no socket or temporary file
/// can become one of them), a set-uid start has laid down what its caller could leave to it, a
/// reader that has gone away and a file that may grow no further are a failed write and not a
/// signal, a signal that asks the process to end removes the temporary files first, and an
/// exception that nobody expected ends the process with a message and status 1.
void prepare_process();

/// The normal way out: removes both temporary files, whether they exist or not, and ends the
/// process with status 0.
[[noreturn]] void correct_exit();
