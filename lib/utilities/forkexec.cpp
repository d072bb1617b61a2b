// Members of the process-execution family that wait for their child themselves.
#include "lib/utilities/forkexec.h"
#include "lib/utilities/spawn.h"

#include "base/io.h"
#include "lib/product_log.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// The child of fork_execv_fd.
[[noreturn]] void exec_with_descriptors(int fd_in, int fd_out, int fd_err, const char* path,
                                        const char* const args[]) {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
        close(fd); // stays so where dup2 fails
    dup2(fd_in, STDIN_FILENO);
    dup2(fd_out, STDOUT_FILENO);
    dup2(fd_err, STDERR_FILENO);
    spawn::execute(path, args);
    const int reason = errno;
    write_pieces(STDERR_FILENO, {"Error occured during execv():\n", spawn::error_text(reason),
                                 reason == EFAULT ? ", possible reason - NULL parameter is absent "
                                                    "in util_exec(path, arg1, arg2, NULL) call.\n"
                                                  : ".\n"});
    spawn::end_child();
}

/// Logs everything that comes through the pipe, a chunk at a time.
void log_until_end(int fd) {
    std::array<char, 4096> chunk;
    for (;;) {
        const ssize_t count = read_some(fd, chunk.data(), chunk.size() - 1);
        if (count <= 0)
            return;
        chunk[static_cast<std::size_t>(count)] = '\0';
        errno = 0;
        messlog2(0, 0, "%s", chunk.data());
    }
}

} // namespace

pid_t fork_execl_pipes(int in, int out, int err, const char* path, ...) {
    OVK_COLLECT(vector, path, spawn::collect(args));
    return fork_execv_pipes(in, out, err, path, vector.data());
}

int fork_execv_fd(int fd_in, int fd_out, const char* path, const char* const args[]) {
    const auto is_standard = [](int fd) { return fd >= STDIN_FILENO && fd <= STDERR_FILENO; };
    if (is_standard(fd_in) || is_standard(fd_out)) {
        messlog2(0, 0, "values 0,1,2 not allowed for variables fd_in & fd_out\n");
        return -1;
    }
    Pipe errors = spawn::open_high_pipe();
    if (!errors)
        end_with_failure("fork_exec_fd pipe(): %s", std::strerror(errno));
    const pid_t pid = fork();
    if (pid == -1)
        end_with_failure("Error occured during fork():\n%s", std::strerror(errno));
    if (pid == 0)
        exec_with_descriptors(fd_in, fd_out, errors.write_end.get(), path, args);
    errors.write_end.reset();
    log_until_end(errors.read_end.get());
    errors.read_end.reset();

    int status = 0;
    if (wait_for(pid, &status, WUNTRACED) == -1)
        messlog2(0, 0, "Error occured during waiting the child process with pid: %d: %s\n", pid,
                 std::strerror(errno));
    else if (WIFEXITED(status))
        return WEXITSTATUS(status);
    else if (WIFSIGNALED(status))
        messlog2(0, 0, "The child process with pid %d killed by signal %i\n", pid,
                 WTERMSIG(status));
    else
        messlog2(0, 0, "The child process with pid %d stopped by signal %i\n", pid,
                 WSTOPSIG(status));
    return -1;
}

int fork_execv(const char* path, ...) {
    OVK_COLLECT(vector, path, spawn::collect_fixed(path, args));
    const pid_t pid = fork();
    if (pid == -1)
        return -1;
    if (pid == 0) {
        for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
            spawn::dup2_custom(-1, fd);
        spawn::execute(path, vector.data());
        spawn::end_child();
    }
    int status = 0;
    const pid_t ended = wait_for(-1, &status, 0);
    return ended != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

int do_exec(const char* program, const char* const argv[]) {
    static int status;
    const pid_t pid = fork();
    if (pid == -1)
        end_with_failure("Unable to fork");
    if (pid == 0) {
        spawn::execute(program, argv);
        spawn::end_child();
    }
    if (wait_for(pid, &status, 0) == -1)
        status = -1;
    return status;
}
