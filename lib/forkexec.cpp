#include "lib/forkexec.h"

#include "base/io.h"
#include "lib/product_log.h"
#include "lib/spawn.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// Makes `from` the descriptors 0, 1 and 2. False with errno set.
bool place(std::array<int, spawn::first_other> from) {
    // What lies at another's place is moved out of its way first.
    for (std::size_t fd = 0; fd < from.size(); ++fd) {
        if (from[fd] == -1 || from[fd] == static_cast<int>(fd) || from[fd] >= spawn::first_other)
            continue;
        from[fd] = fcntl(from[fd], F_DUPFD, spawn::first_other);
        if (from[fd] == -1)
            return false;
    }
    for (std::size_t fd = 0; fd < from.size(); ++fd) {
        if (spawn::dup2_custom(from[fd], static_cast<int>(fd)) == -1)
            return false;
    }
    return true;
}

/// The child of fork_execv_pipes.
[[noreturn]] void exec_with_pipes(int in, int out, int err, const char* path,
                                  const char* const args[]) {
    if (!place({in, out, err})) {
        write_pieces(STDERR_FILENO, {"fork_execv: dup() failed: ", spawn::error_text(errno), "\n"});
        spawn::end_child();
    }
    close_from(spawn::first_other);
    spawn::execute(path, args);
    write_pieces(STDERR_FILENO,
                 {"fork_execv: execv(\"", path, "\") failed: ", spawn::error_text(errno), "\n"});
    spawn::end_child();
}

// vfork, since fork copies page tables and has every page that is touched afterwards copied too: a
// process that holds and uses 30 MB then waits 6 ms for a child that takes 0.6 ms this way. Until
// the child has become the program or ended, it runs in our memory while we stand still, so it
// makes system calls and nothing else: no handler of ours runs in it, no heap, stream or lock is
// touched, and it ends by _exit. Dispositions, mask and descriptors are its own; errno is not, and
// is put back by our caller.
pid_t start(int in, int out, int err, const char* path, const char* const args[]) {
    sigset_t all, before; // no handler of the parent's may run in its child
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before);
    const pid_t pid = vfork();
    if (pid == 0)
        exec_with_pipes(in, out, err, path, args); // NOLINT(clang-analyzer-unix.Vfork)
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return pid;
}

} // namespace

pid_t fork_execv_pipes(int in, int out, int err, const char* path, const char* const args[]) {
    const int pending = errno;
    const pid_t pid = start(in, out, err, path, args);
    if (pid == -1)
        end_with_failure("fork_execv_pipes: fork() failed");
    errno = pending;
    return pid;
}
