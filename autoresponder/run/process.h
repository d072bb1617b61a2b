// The frame of the process: the state that it wants to start from, and its ways out.
#pragma once

/// Puts the process into a state that does not depend on who started it: descriptors 0, 1 and 2
/// are open (on /dev/null where the caller left them closed, so that no socket or temporary file
/// can become one of them), a set-uid start has laid down what its caller could leave to it, a
/// reader that has gone away and a file that may grow no further are a failed write and not a
/// signal, a signal that asks the process to end removes the temporary files first, and an
/// exception that nobody expected ends the process with a message and status 1.
void prepare_process();

/// The normal way out: removes both temporary files, whether they exist or not, and ends the
/// process with status 0: the mail server has no more to do, whatever came of the mail.
[[noreturn]] void correct_exit();

/// The way out where something fails that may work another time: the same, with the status that has
/// the mail server try again where the host chooses so and nothing has been sent.
[[noreturn]] void give_up();

/// The same for what a run can go on without: returns where the mail is not to be tried again.
void give_up_if_retried();

/// Has all ways out of this header end with `status`, for a program that no mail server starts.
void set_exit_status(int status);

/// The way out for an exception that is being handled, or that nobody handled: says what it is on
/// both output streams and ends the process with status 1. Mail may be in flight at this point, so
/// the temporary files stay for whoever looks into it, as after every other end with status 1.
/// Where want of memory has the mail tried again, the end is that of give_up.
[[noreturn]] void end_on_exception();
