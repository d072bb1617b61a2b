#include "autoresponder/run/process.h"

#include "autoresponder/run/ending.h"
#include "autoresponder/run/set_uid_start.h"
#include "autoresponder/run/temporary_file.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

namespace {

// open() gives the lowest free number, so going upwards fills exactly the gaps.
void hold_standard_descriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) == -1 && errno == EBADF && open("/dev/null", O_RDWR) == -1)
            open("/", O_PATH); // no device: neither readable nor writable, but the number is taken
    }
}

// A host that shuts down should not find mail of strangers in /tmp. Then the signal takes its
// course, so that whoever sent it sees what it did. No child gets here: one that has yet to become
// sendmail has signals held back until it has dropped this handler.
extern "C" void end_on_signal(int signal) {
    remove_temporary_files();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// Only where the caller has not chosen to have the signal ignored.
void tidy_up_on(int signal) {
    if (std::signal(signal, end_on_signal) == SIG_IGN)
        std::signal(signal, SIG_IGN);
}

} // namespace

void prepare_process() {
    hold_standard_descriptors();
    distrust_caller_of_set_uid_start();
    for (const int signal : {SIGPIPE, SIGXFSZ})
        std::signal(signal, SIG_IGN);
    for (const int signal :
         {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGALRM, SIGVTALRM, SIGPROF, SIGXCPU})
        tidy_up_on(signal);
    prepare_endings();
    errno = 0;
}
