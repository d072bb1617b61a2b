// The message logger: messages under the program's name on standard error and standard output,
// with the pending system error behind them and, if asked for, the end of the process.
#pragma once

#include <cstdarg>

/// Name under which messages are written (its last path component); null for none. Points at
/// argv[0], set by main.
extern const char* PROGNAME;

/// Formats a message of any length, appends the system error that errno holds at the call ("System
/// error", number and text on a line of their own; nothing when errno is 0) and writes it with
/// ex_messlog. A caller that wants no appendix sets errno to 0 before. Returns only when `status`
/// is 0. `mess_out` has no effect: the message always goes to both streams.
void messlog2(int status, int mess_out, const char* fmt, ...) __attribute__((format(printf, 3, 4)));
void vmesslog2(int status, int mess_out, const char* fmt, va_list args)
    __attribute__((format(printf, 3, 0)));

/// Asked for the status that end_with_failure ends with; 1 unless the program has it answered
/// otherwise.
extern int (*failure_status)();

/// The end of a process that cannot go on: writes the message as messlog2 does and ends with
/// failure_status.
[[noreturn]] void end_with_failure(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

/// Writes `msg` to standard error and then to standard output, each time behind the program's name
/// and with a line end unless it has one (an empty message gives a line of its own), and flushes.
/// Write errors are ignored. With a `status` other than 0 the process then ends with it; else 0 is
/// returned.
int ex_messlog(const char* msg, int status, int mess_out);
