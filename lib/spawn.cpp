#include "lib/spawn.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace spawn {

void execute(const char* path, const char* const args[]) {
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction action;
        const bool may_stay_ignored = signal != SIGPIPE && signal != SIGXFSZ;
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_DFL &&
            !(action.sa_handler == SIG_IGN && may_stay_ignored))
            std::signal(signal, SIG_DFL);
    }
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

int dup2_custom(int src, int dest) {
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

} // namespace spawn
