// Process execution beyond fork_execv_pipes: members that wait for the child, capture what it
// writes, log its failures or go through the shell. What lib/forkexec.h says of all members holds
// for these as well, and the shell plays no part but in the popen_exec members.
#pragma once

#include "lib/forkexec.h"

// -- With descriptors of the caller's choice. --

/// fork_execv_pipes with the arguments one by one.
pid_t fork_execl_pipes(int in, int out, int err, const char* path, ...) __attribute__((sentinel));

/// With `fd_in` and `fd_out` as descriptors 0 and 1; neither may be 0, 1 or 2 (-1, after a
/// message). What the child writes to its standard error is logged as it comes. Waits for it.
int fork_execv_fd(int fd_in, int fd_out, const char* path, const char* const args[]);

/// With 0, 1 and 2 on /dev/null. Waits for any child. 1 for one that did not end normally, -1 when
/// fork failed; no messages.
int fork_execv(const char* path, ...) __attribute__((sentinel));

/// With everything inherited. Returns the raw wait status, -1 when it cannot be had. Not reentrant.
int do_exec(const char* program, const char* const argv[]);

// -- With the output captured. --

/// Captures standard output in `*out` and standard error, unless `err` is null, in `*err`; standard
/// input is inherited. A stream that gave nothing is an empty text, or null when the child's end
/// was noticed first.
int fork_execv_getouterr(char** out, char** err, const char* path, const char* const args[]);
int fork_execl_getouterr(char** out, char** err, const char* path, ...) __attribute__((sentinel));

/// Captures standard output alone; standard error is inherited.
int fork_execv_getout(char** out, const char* path, const char* const args[]);
int fork_execl_getout(char** out, const char* path, ...) __attribute__((sentinel));

/// Captures both streams together in `*output`, which is null unless the result is 0. Every other
/// outcome is logged with what was captured. Other descriptors are inherited.
int fork_execvv_getoutput(char** output, const char* path, const char* const args[]);

/// The same; the path becomes the first argument.
int fork_execv_getoutput(char** output, const char* path, ...) __attribute__((sentinel));

// -- With failures logged. --

/// Runs the program; unless the result is 0 or `ignore_exit_status` is set, its standard output
/// goes to ours and its standard error into the log.
int fork_execv_log(const char* path, const char* const args[], int ignore_exit_status);
int fork_execl_log(const char* path, ...) __attribute__((sentinel));

/// The same for a panel utility, by its name within admin/sbin of PRODUCT_ROOT_D. A name with a "/"
/// is refused (-1, after a message). The path becomes the first argument; those behind the 99th
/// are ignored.
int util_exec(const char* util, ...) __attribute__((sentinel));

/// The same with the caller's vector as it is.
int util_exec_args(const char* util, const char* const args[]);

/// The same for an executable of the panel's library folder.
int util_libexec(const char* util, ...) __attribute__((sentinel));

/// The same for any path.
int path_exec(const char* path, ...) __attribute__((sentinel));

// -- Through the shell. --

/// Runs `cmd` with `input` as its standard input. -1, after a message, when it cannot be started or
/// does not take all of it.
int popen_exec_with_input(const char* cmd, const char* input);

/// Runs `cmd` and stores its standard output in `*dest`. -1 when that fails.
int popen_exec_getoutput(char** dest, const char* cmd);

/// Runs `cmd`; a failure is logged with its output.
int popen_exec(const char* cmd);
