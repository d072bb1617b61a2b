// What the members of the process-execution family do in the child that they start. Private to the
// family; those that only other programs call share more (lib/utilities/spawn.h).
#pragma once

namespace spawn {

/// Status with which a child ends that could not become the program.
inline constexpr int exec_failed = 255;

/// The first descriptor behind the standard ones.
inline constexpr int first_other = 3;

/// In the child: gives SIGPIPE, SIGXFSZ and all signals that have handlers their default meaning
/// again, lets all signals in, and executes `path`. Returns only when that fails, with errno set.
void execute(const char* path, const char* const args[]);

/// In the child: ends it. Nothing of the parent's is run or written a second time: no handlers, no
/// stream buffers.
[[noreturn]] void end_child();

/// strerror's text, untranslated, without its heap and locks.
const char* error_text(int error);

/// In the child: moves `src` to `dest`, where it is to stay on exec; -1 stands for /dev/null.
/// Returns `dest`, or -1 with errno set.
int dup2_custom(int src, int dest);

} // namespace spawn
