// Process execution: the fixed ways in which the panel's programs start others.
//
// A program is named by its full path: neither PATH nor the shell plays a part. Argument vectors
// end with null and begin with the name under which the child sees itself; variadic arguments end
// with a null pointer. Every child starts with SIGPIPE and SIGXFSZ at their defaults and no signal
// blocked. A caller may have any of 0, 1 and 2 closed.
//
// Failures of fork, pipe, fcntl and of memory in the parent end the process with status 1 after a
// message, where nothing else is said. A child that cannot become the program says so on its
// standard error and ends with status 255. Results are exit codes (0 to 255), or -1 for a child
// that did not end normally. Output texts are terminated and freed by the caller.
#pragma once

#include <sys/types.h>

/// Starts `path` with `in`, `out` and `err` as its descriptors 0, 1 and 2 (-1 for /dev/null) and
/// all others closed. A descriptor may be given twice only where it is its own target. Returns the
/// child's process id once the child has become the program or has said why not; the caller closes
/// its own descriptors and waits.
pid_t fork_execv_pipes(int in, int out, int err, const char* path, const char* const args[]);
