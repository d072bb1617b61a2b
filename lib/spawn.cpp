#include "lib/spawn.h"

#include "lib/product_log.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace spawn {

namespace {

void reset_handlers() {
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction action;
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_DFL &&
            action.sa_handler != SIG_IGN)
            std::signal(signal, SIG_DFL);
    }
}

} // namespace

HeldSignals::HeldSignals() noexcept {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before_);
}

void execute(const char* path, const char* const args[]) {
    for (const int signal : {SIGPIPE, SIGXFSZ})
        std::signal(signal, SIG_DFL);
    reset_handlers();
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    errno = 0;
    execv(path, const_cast<char* const*>(args));
}

void end_child() {
    _exit(exec_failed);
}

const char* error_text(int error) {
    const char* const text = strerrordesc_np(error);
    return text != nullptr ? text : "Unknown error";
}

Pipe open_pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) == -1)
        return {};
    const Descriptor low_read_end(ends[0]), low_write_end(ends[1]);
    return {Descriptor(fcntl(ends[0], F_DUPFD_CLOEXEC, first_other)),
            Descriptor(fcntl(ends[1], F_DUPFD_CLOEXEC, first_other))};
}

int move_descriptor(int src, int dest) {
    if (src == dest) {
        fcntl(src, F_SETFD, 0); // fails where the caller's is closed, and then it stays so
        return src;
    }
    if (src == -1)
        src = open("/dev/null", O_RDWR);
    // It may have been opened right where it belongs.
    if (src == -1 || src == dest)
        return src;
    const int result = dup2(src, dest);
    const int reason = errno;
    close(src);
    errno = reason;
    return result;
}

void close_fd(int& fd) {
    if (fd != -1)
        close(fd);
    fd = -1;
}

int exit_code(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void VectorFree::operator()(const char** vector) const noexcept {
    std::free(vector);
}

Vector collect_all(const char* first, va_list args) {
    va_list counted;
    va_copy(counted, args);
    std::size_t count = first == nullptr ? 0 : 1;
    while (va_arg(counted, const char*) != nullptr)
        ++count;
    va_end(counted);

    Vector vector(static_cast<const char**>(std::malloc((count + 1) * sizeof(const char*))));
    if (!vector)
        return vector;
    std::size_t i = 0;
    if (first != nullptr)
        vector[i++] = first;
    while (i < count)
        vector[i++] = va_arg(args, const char*);
    vector[count] = nullptr;
    return vector;
}

Vector collect_or_exit(va_list args) {
    Vector vector = collect_all(nullptr, args);
    if (!vector)
        end_with_failure("malloc() failed: %s", std::strerror(errno));
    return vector;
}

FixedVector collect_fixed(const char* path, va_list args) {
    FixedVector vector = {path};
    for (std::size_t i = 1; i + 1 < vector.size(); ++i) {
        vector[i] = va_arg(args, const char*);
        if (vector[i] == nullptr)
            break;
    }
    return vector;
}

} // namespace spawn
