#include "autoresponder/run/process.h"

#include "autoresponder/run/retry_later.h"
#include "autoresponder/run/set_uid_start.h"
#include "autoresponder/run/temporary_file.h"
#include "codecs/idn.h"
#include "lib/product_log.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <initializer_list>
#include <new>
#include <optional>
#include <unistd.h>

namespace {

/// Whatever the way out.
std::optional<int> only_status;

// open() gives the lowest free number, so going upwards fills exactly the gaps.
void hold_standard_descriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) == -1 && errno == EBADF && open("/dev/null", O_RDWR) == -1)
            open("/", O_PATH); // no device: neither readable nor writable, but the number is taken
    }
}

void remove_temporary_files() {
    mail_copy.remove();
    reply_file.remove();
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

/// Any end with status 1 may be for want of memory or processes.
int status_after_failure() {
    const int status = only_status ? *only_status : retry_status();
    if (status == 0)
        return EXIT_FAILURE;
    remove_temporary_files();
    return status;
}

/// Every other exception would come again.
bool is_for_want_of_memory(const std::exception_ptr& failure) {
    try {
        if (failure)
            std::rethrow_exception(failure);
    } catch (const std::bad_alloc&) {
        return true;
    } catch (...) {
    }
    return false;
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
    std::set_terminate(end_on_exception);
    failure_status = status_after_failure;
    errno = 0;
}

void correct_exit() {
    remove_temporary_files();
    std::exit(only_status.value_or(EXIT_SUCCESS));
}

void set_exit_status(int status) {
    only_status = status;
}

void give_up() {
    remove_temporary_files();
    std::exit(only_status ? *only_status : retry_status());
}

void give_up_if_retried() {
    if (is_retry_possible())
        give_up();
}

void end_on_exception() {
    errno = 0; // so that the message shows no error of some earlier call
    if (!is_for_want_of_memory(std::current_exception()))
        rule_out_retry();
    try {
        if (const std::exception_ptr failure = std::current_exception())
            std::rethrow_exception(failure);
    } catch (const orvek::idn::IdnaError& failure) {
        end_with_failure("IDN conversion error: %s", failure.what());
    } catch (const std::bad_alloc&) {
        end_with_failure("Program failed due to exhausted memory");
    } catch (const std::exception& failure) {
        end_with_failure("Program failed: %s", failure.what());
    } catch (...) {
    }
    end_with_failure("Program failed");
}
