// Process execution: the fixed ways in which the panel's programs start others.
//
// A program is named by its full path: PATH is not searched, and the shell plays no part but in the
// popen_exec members. Argument vectors end with null and begin with the name under which the child
// sees itself; variadic arguments end with a null pointer. Every child starts with SIGPIPE at its
// default and no signal blocked.
//
// Failures of fork, pipe, fcntl and of memory in the parent end the process with status 1 after a
// message, where nothing else is said. A child that cannot become the program says so on its
// standard error and ends with status 255. Results are exit codes (0 to 255), or -1 for a child
// that did not end normally. Output texts are terminated and freed by the caller.
#pragma once

#include <sys/types.h>

// -- With descriptors of the caller's choice; the caller waits for the child. --

/// Starts `path` with `in`, `out` and `err` as its descriptors 0, 1 and 2 (-1 for /dev/null) and
/// all others closed. A descriptor may be given twice only where it is its own target. Returns the
/// child's process id once the child has become the program or has said why not; the caller closes
/// its own descriptors and waits.
pid_t fork_execv_pipes(int in, int out, int err, const char* path, const char* const args[]);
pid_t fork_execl_pipes(int in, int out, int err, const char* path, ...);

/// With `fd_in` and `fd_out` as descriptors 0 and 1; neither may be 0, 1 or 2 (-1, after a
/// message). What the child writes to its standard error is logged as it comes. Waits for it.
int fork_execv_fd(int fd_in, int fd_out, const char* path, const char* const args[]);

/// With 0, 1 and 2 on /dev/null. Waits for any child. 1 for one that did not end normally, -1 when
/// fork failed; no messages.
int fork_execv(const char* path, ...);

/// With everything inherited. Returns the raw wait status, -1 when it cannot be had. Not reentrant.
int do_exec(const char* program, const char* const argv[]);

// -- With the output captured. --

/// Captures standard output in `*out` and standard error in `*err`; standard input is inherited. A
/// stream that gave nothing is an empty text, or null when the child's end was noticed first.
int fork_execv_getouterr(char** out, char** err, const char* path, const char* const args[]);
int fork_execl_getouterr(char** out, char** err, const char* path, ...);

/// Captures standard output alone; standard error is inherited.
int fork_execv_getout(char** out, const char* path, const char* const args[]);
int fork_execl_getout(char** out, const char* path, ...);

/// Captures both streams together in `*output`, which is null unless the result is 0. Every other
/// outcome is logged with what was captured. Other descriptors are inherited.
int fork_execvv_getoutput(char** output, const char* path, const char* const args[]);

/// The same; the path becomes the first argument.
int fork_execv_getoutput(char** output, const char* path, ...);

// -- With failures logged. --

/// Runs the program; unless the result is 0 or `ignore_exit_status` is set, its standard output
/// goes to ours and its standard error into the log.
int fork_execv_log(const char* path, const char* const args[], int ignore_exit_status);
int fork_execl_log(const char* path, ...);

/// The same for a panel utility, by its name within admin/sbin of PRODUCT_ROOT_D. A name with a "/"
/// is refused (-1, after a message). The path becomes the first argument; those behind the 99th
/// are ignored.
int util_exec(const char* util, ...);

/// The same with the caller's vector as it is.
int util_exec_args(const char* util, const char* const args[]);

/// The same for an executable of the panel's library folder.
int util_libexec(const char* util, ...);

/// The same for any path.
int path_exec(const char* path, ...);

// -- Through the shell. --

/// Runs `cmd` with `input` as its standard input. -1, after a message, when it cannot be started or
/// does not take all of it.
int popen_exec_with_input(const char* cmd, const char* input);

/// Runs `cmd` and stores its standard output in `*dest`. -1 when that fails.
int popen_exec_getoutput(char** dest, const char* cmd);

/// Runs `cmd`; a failure is logged with its output.
int popen_exec(const char* cmd);
