// autoresponder-logged: the autoresponder as a mail server starts it. Its lines go to the system
// log, facility mail, and so does a status other than 0. The mail server hears of a status that it
// does something useful for, and whatever becomes of the log changes nothing about that.
#include "base/io.h"
#include "base/owned.h"
#include "base/text.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/time.h>
#include <sys/wait.h>
#include <sysexits.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr std::string_view name = "autoresponder";

/// What takes entries of the log cuts longer ones; a line of more comes in pieces.
constexpr std::size_t longest = 7000;

/// Blocks that a pipe holds when its writer has ended.
constexpr int most_behind = 16;

/// As a shell has it: the program is there and cannot be run, or is not there.
constexpr int not_to_be_run = 126;
constexpr int not_there = 127;

volatile std::sig_atomic_t log_is_given_up = 0;

void give_the_log_up(int) {
    log_is_given_up = 1;
}

/// Interrupts what waits after a second, and again: syslog() sends a second time.
void set_clock(bool on) {
    const itimerval clock = {{0, 50000}, {on ? 1 : 0, 0}};
    setitimer(ITIMER_REAL, &clock, nullptr);
}

/// One entry: the line without the program's name, bytes that are not printable ASCII as "\xHH".
/// The first that is not taken within a second is the last.
void log_line(std::string_view line) {
    if (line.starts_with(name) && line.substr(name.size()).starts_with(": "))
        line.remove_prefix(name.size() + 2);
    if (line.empty() || log_is_given_up != 0)
        return;
    const std::string text =
        escaped(line, "\\x", [](char c) { return is_printable(c) && c != '\\'; });
    set_clock(true);
    syslog(LOG_INFO, "%s", text.c_str());
    set_clock(false);
}

/// Logs what comes through the pipe until its end, or until the program has ended and nothing more
/// is there: what it started may hold the pipe for long. Returns the program's status, as wait has
/// it.
int log_lines(int fd, pid_t program) {
    std::string text;
    std::array<char, 4096> block;
    int status = 0;
    bool is_over = false;
    pollfd polled = {fd, POLLIN, 0};
    for (int left = most_behind; left > 0; left -= is_over ? 1 : 0) {
        const int ready = poll(&polled, 1, is_over ? 0 : 100);
        const ssize_t count = ready > 0 ? read_some(fd, block.data(), block.size()) : -1;
        if (count == 0 || (ready == 0 && is_over))
            break;
        text.append(block.data(), static_cast<std::size_t>(count > 0 ? count : 0));
        std::string_view rest = text, line;
        while (contains(rest, "\n") && take_line(rest, line))
            log_line(line);
        for (; rest.size() > longest; rest.remove_prefix(longest))
            log_line(rest.substr(0, longest));
        text.erase(0, text.size() - rest.size());
        is_over = is_over || wait_for(program, &status, WNOHANG) == program;
    }
    log_line(text);
    if (!is_over)
        wait_for(program, &status, 0);
    return status;
}

/// This program's path without "-logged"; empty where it is not to be found out.
std::string path_of_program() {
    std::array<char, 4096> path;
    const ssize_t size = readlink("/proc/self/exe", path.data(), path.size());
    const std::string_view own(path.data(), static_cast<std::size_t>(size > 0 ? size : 0));
    return std::string(own.substr(0, own.rfind('-')));
}

/// The child: becomes the program, with its errors in the pipe and its output, which repeats them,
/// nowhere.
[[noreturn]] void run(const char* path, int pipe_end) {
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    dup2(pipe_end, STDERR_FILENO);
    char* const arguments[] = {const_cast<char*>(path), nullptr};
    execv(path, arguments);
    const int reason = errno;
    write_pieces(STDERR_FILENO, {path, ": ", std::strerror(reason), "\n"});
    _exit(reason == ENOENT ? not_there : not_to_be_run);
}

/// What the mail server hears. 1 and an end by a signal would have it return the mail to its
/// sender, or deliver again what may have been answered; a program that could not be started is
/// tried again.
int told_status(int status) {
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    if (code == not_to_be_run || code == not_there)
        return EX_TEMPFAIL;
    return code == 1 ? EX_OK : code;
}

int run_logged() {
    const std::string path = path_of_program();
    Pipe pipe = open_pipe();
    const pid_t program = pipe ? fork() : -1;
    if (program == -1) {
        log_line(concat({"cannot be started: ", std::strerror(errno)}));
        return EX_TEMPFAIL;
    }
    if (program == 0)
        run(path.c_str(), pipe.write_end.get());
    pipe.write_end.reset();
    const int status = log_lines(pipe.read_end.get(), program);
    const char* const recipient = std::getenv("RESP_RECIPIENT");
    if (status != 0) {
        const bool exited = WIFEXITED(status);
        log_line(concat({exited ? "exit status " : "ended by signal ",
                         std::to_string(exited ? WEXITSTATUS(status) : WTERMSIG(status)), " for ",
                         recipient == nullptr ? "" : recipient}));
    }
    return told_status(status);
}

} // namespace

int main() {
    // None of the three is to be an end of the pipe.
    for (int fd = 0; fd >= 0 && fd <= STDERR_FILENO;)
        fd = open("/dev/null", O_RDWR | O_CLOEXEC);
    std::signal(SIGCHLD, SIG_DFL); // where it is ignored, the status gets lost
    struct sigaction action = {};
    sigprocmask(SIG_SETMASK, &action.sa_mask, nullptr);
    action.sa_handler = give_the_log_up;
    sigaction(SIGALRM, &action, nullptr);
    openlog(name.data(), 0, LOG_MAIL);
    return run_logged();
}
