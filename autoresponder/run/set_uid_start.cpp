#include "autoresponder/run/set_uid_start.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <grp.h>
#include <sched.h>
#include <string>
#include <sys/auxv.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

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

} // namespace

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
