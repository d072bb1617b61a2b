// Members of the process-execution family that capture what the child writes.
#include "base/io.h"
#include "base/owned.h"
#include "lib/product_log.h"
#include "lib/utilities/forkexec.h"
#include "lib/utilities/libcommon.h"
#include "lib/utilities/spawn.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <span>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Milliseconds after which a silent pipe has the child looked at.
constexpr int poll_interval = 1000;

/// Closes a descriptor held in a variable and sets the variable to -1.
void close_fd(int& fd) {
    if (fd != -1)
        close(fd);
    fd = -1;
}

/// One captured stream: the read end of its pipe and what has come through it.
struct Capture {
    int fd = -1;
    char* buf = nullptr;
    std::size_t blen = 0;
    std::size_t bcur = 0;
    bool is_log = false; ///< an error of reading is logged, not only written

    /// Ends the text and hands it over; null when nothing was ever read.
    char* take() {
        if (buf != nullptr)
            buf[bcur] = '\0';
        return std::exchange(buf, nullptr);
    }
};

/// One read of a pipe into a growing buffer. At its end, and on errors, the pipe is closed.
void read_to_buf(int& fd, char*& buf, std::size_t& blen, std::size_t& bcur, bool is_log) {
    constexpr std::size_t least_free = 2048;
    constexpr std::size_t step = 4096;
    if (blen - bcur <= least_free) {
        const std::size_t size = blen <= step ? blen + step : 2 * blen;
        char* const grown = static_cast<char*>(std::realloc(buf, size));
        if (grown == nullptr)
            end_with_failure("Cannot allocate memory");
        buf = grown;
        blen = size;
    }
    const ssize_t count = read_some(fd, buf + bcur, blen - 1 - bcur);
    if (count > 0) {
        bcur += static_cast<std::size_t>(count);
    } else if (count == 0) {
        close_fd(fd);
    } else if (errno != EAGAIN) {
        if (is_log)
            messlog2(0, 1, "Cannot read child output:\n%s", std::strerror(errno));
        else
            std::fprintf(stderr, "fork_exec*: read(pipe) failed: %s\n", std::strerror(errno));
        close_fd(fd);
        errno = 0;
    }
}

/// Waits until open streams have something to read, and reads those. False when none had in time.
/// poll() instead of select(), which knows no descriptors above 1023.
bool read_ready(std::span<Capture> streams) {
    std::array<pollfd, 2> polled = {};
    for (std::size_t i = 0; i < streams.size(); ++i)
        polled[i] = {streams[i].fd, POLLIN, 0}; // -1 is passed over
    errno = 0;
    if (poll(polled.data(), streams.size(), poll_interval) <= 0)
        return false;
    for (std::size_t i = 0; i < streams.size(); ++i) {
        if (polled[i].revents != 0)
            read_to_buf(streams[i].fd, streams[i].buf, streams[i].blen, streams[i].bcur,
                        streams[i].is_log);
    }
    return true;
}

/// Reads all streams to their ends, or until the child has ended without one. Waits for the child:
/// -1 where that fails.
pid_t collect(pid_t pid, std::span<Capture> streams, int& status) {
    pid_t ended = 0;
    const auto is_open = [](const Capture& stream) { return stream.fd != -1; };
    while (std::ranges::any_of(streams, is_open) && ended == 0) {
        if (!read_ready(streams))
            ended = wait_for(pid, &status, WNOHANG);
    }
    for (Capture& stream : streams)
        close_fd(stream.fd);
    return ended == 0 ? wait_for(pid, &status, WUNTRACED) : ended;
}

/// A pipe for the child to write into: its read end becomes the stream's and does not block, its
/// write end is returned.
Descriptor open_stream(Capture& stream) {
    Pipe pipe = spawn::open_high_pipe();
    if (!pipe)
        end_with_failure("fork_execv_getouterr: pipe() failed");
    if (fcntl(pipe.read_end.get(), F_SETFL, O_NONBLOCK) == -1)
        end_with_failure("fork_execv_getouterr: fcntl(O_NONBLOCK) failed");
    stream.fd = pipe.read_end.release();
    return std::move(pipe.write_end);
}

/// The child of fork_execvv_getoutput: both streams into the pipe.
[[noreturn]] void exec_with_output(int write_end, const char* path, const char* const args[]) {
    dup2(write_end, STDOUT_FILENO);
    dup2(write_end, STDERR_FILENO);
    spawn::execute(path, args);
    write_pieces(STDOUT_FILENO, {"Cannot exec '", path, "':\n", spawn::error_text(errno)});
    spawn::end_child();
}

/// Logs every outcome but exit code 0 and gives the result.
int judge(int status, const char* path, const char* text) {
    if (!WIFEXITED(status)) {
        if (WIFSIGNALED(status))
            messlog2(0, 1, "utility %s killed (signal %d):\n%s", path, WTERMSIG(status), text);
        else
            messlog2(0, 1, "utility %s crashed (status %d):\n%s", path, status, text);
        return -1;
    }
    const int code = WEXITSTATUS(status);
    if (code == spawn::exec_failed)
        messlog2(0, 1, "error:\n%s", text);
    else if (code != 0)
        messlog2(0, 1, "utility %s failed (result=%d):\n%s", path, code, text);
    return code;
}

} // namespace

int fork_execv_getouterr(char** out, char** err, const char* path, const char* const args[]) {
    std::array<Capture, 2> captures;
    *out = nullptr;
    Descriptor out_end = open_stream(captures[0]);
    Descriptor err_end;
    if (err != nullptr) {
        *err = nullptr;
        err_end = open_stream(captures[1]);
    }
    const pid_t pid = fork_execv_pipes(STDIN_FILENO, out_end.get(),
                                       err_end ? err_end.get() : STDERR_FILENO, path, args);
    out_end.reset();
    err_end.reset();
    int status = 0;
    const pid_t ended = collect(pid, captures, status);
    const bool exited = ended != -1 && errno == 0 && WIFEXITED(status);
    *out = captures[0].take();
    if (err != nullptr)
        *err = captures[1].take();
    return exited ? WEXITSTATUS(status) : -1;
}

int fork_execl_getouterr(char** out, char** err, const char* path, ...) {
    OVK_COLLECT(vector, path, spawn::collect(args));
    return fork_execv_getouterr(out, err, path, vector.data());
}

int fork_execv_getout(char** out, const char* path, const char* const args[]) {
    return fork_execv_getouterr(out, nullptr, path, args);
}

int fork_execl_getout(char** out, const char* path, ...) {
    OVK_COLLECT(vector, path, spawn::collect(args));
    return fork_execv_getout(out, path, vector.data());
}

int fork_execv_log(const char* path, const char* const args[], int ignore_exit_status) {
    char* out;
    char* err;
    const int result = fork_execv_getouterr(&out, &err, path, args);
    const MallocedText output(out);
    const MallocedText errors(err);
    if (result == 0 || ignore_exit_status != 0)
        return result;
    if (output)
        std::fputs(output.get(), stderr);
    if (errors)
        messlog2(0, 1, "%s execution failed:\n%s", path, errors.get());
    else
        messlog2(0, 1, "%s execution failed (no output)", path);
    return result;
}

int fork_execl_log(const char* path, ...) {
    OVK_COLLECT(vector, path, spawn::collect(args));
    return fork_execv_log(path, vector.data(), 0);
}

int fork_execvv_getoutput(char** output, const char* path, const char* const args[]) {
    *output = nullptr;
    Pipe both = spawn::open_high_pipe();
    if (!both)
        end_with_failure("fork_execvv_getoutput pipe():\n%s", std::strerror(errno));
    const pid_t pid = fork();
    if (pid == -1)
        end_with_failure("Cannot fork():\n%s", std::strerror(errno));
    if (pid == 0)
        exec_with_output(both.write_end.get(), path, args);
    both.write_end.reset();
    fcntl(both.read_end.get(), F_SETFL, O_NONBLOCK);
    Capture stream = {both.read_end.release()};
    stream.is_log = true;
    int status = 0;
    const pid_t ended = collect(pid, {&stream, 1}, status);
    if (stream.buf == nullptr)
        stream.buf = static_cast<char*>(malloc_safe(1));
    MallocedText text(stream.take());
    const int result = ended == -1 ? -1 : judge(status, path, text.get());
    if (result == 0)
        *output = text.release();
    return result;
}

int fork_execv_getoutput(char** output, const char* path, ...) {
    OVK_COLLECT(vector, path, spawn::collect("Cannot allocate buffer:\n", path, args));
    return fork_execvv_getoutput(output, path, vector.data());
}
