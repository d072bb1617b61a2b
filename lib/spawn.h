// What all members of the process-execution family share: starting a child, waiting for it, and
// putting argument vectors together. Private to the family (forkexec, capture, util_exec,
// popen_exec).
#pragma once

#include "base/owned.h"

#include <array>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <memory>
#include <sys/types.h>
#include <sys/uio.h>

namespace spawn {

/// Status with which a child ends that could not become the program.
inline constexpr int exec_failed = 255;

/// The first descriptor behind the standard ones.
inline constexpr int first_other = 3;

/// Milliseconds after which a silent pipe has the child looked at.
inline constexpr int poll_interval = 1000;

/// Holds all signals back while it lives, so that no handler of the parent's runs in its child.
class HeldSignals {
public:
    HeldSignals() noexcept;
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
    ~HeldSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_;
};

/// In the child: gives SIGPIPE, SIGXFSZ and all signals that have handlers their default meaning
/// again, lets all signals in, and executes `path`. Returns only when that fails, with errno set.
void execute(const char* path, const char* const args[]);

/// In the child: ends it. Nothing of the parent's is run or written a second time: no handlers, no
/// stream buffers.
[[noreturn]] void end_child();

/// In the child: writes the pieces, zero-terminated texts, to `fd` at once. This and error_text use
/// neither stream buffers nor heap nor locks, which a child of vfork shares with its parent.
template <typename... Pieces>
void write_pieces(int fd, Pieces... pieces) {
    const iovec parts[] = {{const_cast<char*>(pieces), std::strlen(pieces)}...};
    // Nobody is left to hear of a failure.
    [[maybe_unused]] const ssize_t written = writev(fd, parts, sizeof...(pieces));
}

/// strerror's text, untranslated.
const char* error_text(int error);

/// A pipe to a child. Both ends close on exec, and neither is 0, 1 or 2: where the caller has
/// closed one of those, a pipe end there would be taken for what the child is to have there.
struct Pipe {
    Descriptor read_end, write_end;

    explicit operator bool() const { return read_end && write_end; }
};

/// Opens one; false with errno set.
Pipe open_pipe();

/// In the child: moves `src` to `dest`, where it is to stay on exec; -1 stands for /dev/null.
/// Returns `dest`, or -1 with errno set.
int move_descriptor(int src, int dest);

/// Closes a descriptor held in a variable and sets the variable to -1.
void close_fd(int& fd);

/// Exit code of a child that ended normally, -1 otherwise.
int exit_code(int status);

/// Deletes what malloc made.
struct VectorFree {
    void operator()(const char** vector) const noexcept;
};
using Vector = std::unique_ptr<const char*[], VectorFree>;

/// All variadic arguments up to the null, `first` (where not null) in front of them, and a null.
/// Null when there is no memory.
Vector collect_all(const char* first, va_list args);

/// The arguments alone. Without memory the process ends with status 1, after a message.
Vector collect_or_exit(va_list args);

/// A vector of a fixed size: at most 100 entries and a null.
using FixedVector = std::array<const char*, 101>;

/// `path` and the variadic arguments up to the null; those behind the 99th are ignored.
FixedVector collect_fixed(const char* path, va_list args);

} // namespace spawn
