#include "autoresponder/run/process.h"

#include "autoresponder/run/ending.h"
#include "autoresponder/run/temporary_file.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <grp.h>
#include <initializer_list>
#include <sched.h>
#include <string>
#include <sys/auxv.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

// open() gives the lowest free number, so going upwards fills exactly the gaps.
void hold_standard_descriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) == -1 && errno == EBADF && open("/dev/null", O_RDWR) == -1)
            open("/", O_PATH); // no device: neither readable nor writable, but the number is taken
    }
}

// sendmail, the database's client library and libc go by what they find there.
void distrust_environment() {
    const char* const recipient = std::getenv("RESP_RECIPIENT");
    const std::string kept = recipient == nullptr ? "" : recipient;
    clearenv();
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
    if (recipient != nullptr)
        setenv("RESP_RECIPIENT", kept.c_str(), 1);
}

// Hard limits may be the host's, and stay.
void distrust_soft_limits() {
    const struct {
        decltype(RLIMIT_CORE) resource;
        rlim_t soft;
    } limits[] = {{RLIMIT_FSIZE, RLIM_INFINITY},
                  {RLIMIT_CPU, RLIM_INFINITY},
                  {RLIMIT_NOFILE, 1024},
                  {RLIMIT_CORE, 0}}; // a core holds the mail
    for (const auto& [resource, soft] : limits) {
        rlimit limit;
        if (getrlimit(resource, &limit) == -1)
            continue;
        limit.rlim_cur = std::min(soft, limit.rlim_max);
        setrlimit(resource, &limit);
    }
}

void distrust_timers_and_signals() {
    for (const auto timer : {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF}) {
        const itimerval none = {};
        setitimer(timer, &none, nullptr);
    }
    for (int signal = 1; signal < NSIG; ++signal)
        std::signal(signal, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// A run holds a lock that others wait for.
void distrust_priorities() {
    const sched_param normal = {};
    sched_setscheduler(0, SCHED_OTHER, &normal);
    setpriority(PRIO_PROCESS, 0, 0);
    constexpr int this_process = 1, by_niceness = 0;
    syscall(SYS_ioprio_set, this_process, 0, by_niceness);
}

/// A start by way of a set-uid or set-gid bit gives the program rights that whoever started it
/// lacks. After one, and only then: lays down what execve hands over from the caller and what would
/// bear on this process or on the sendmail that it starts, as far as its rights go. Of the
/// environment nothing stays but RESP_RECIPIENT. docs/SECURITY.md lists the rest.
//
// What a process without the rights of root may not change stays, and a start that is no more than
// that lends nothing of root's.
void distrust_caller_of_set_uid_start() {
    if (getauxval(AT_SECURE) == 0)
        return;
    distrust_environment();
    umask(077);
    [[maybe_unused]] const int folder = chdir("/");
    setgroups(0, nullptr);
    distrust_soft_limits();
    distrust_timers_and_signals();
    distrust_priorities();
}

// A host that shuts down should not find mail of strangers in /tmp. Then the signal takes its
// course, so that whoever sent it sees what it did. No child gets here: one that has yet to become
// sendmail has signals held back until it has dropped this handler.
extern "C" void end_on_signal(int signal) {
    remove_temporary_files();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

} // namespace

void prepare_process() {
    hold_standard_descriptors();
    distrust_caller_of_set_uid_start();
    for (const int signal : {SIGPIPE, SIGXFSZ})
        std::signal(signal, SIG_IGN);
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGALRM, SIGVTALRM,
                             SIGPROF, SIGXCPU}) {
        // Only where the caller has not chosen to have the signal ignored.
        if (std::signal(signal, end_on_signal) == SIG_IGN)
            std::signal(signal, SIG_IGN);
    }
    prepare_endings();
    errno = 0;
}
