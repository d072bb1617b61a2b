// Members of the process-execution family that go through the shell.
#include "base/owned.h"
#include "lib/product_log.h"
#include "lib/utilities/forkexec.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/wait.h>

namespace {

/// SIGPIPE with another disposition for a while.
class SigpipeDisposition {
public:
    explicit SigpipeDisposition(void (*handler)(int)) {
        sigaction(SIGPIPE, nullptr, &before_);
        std::signal(SIGPIPE, handler);
    }
    SigpipeDisposition& operator=(SigpipeDisposition&&) = delete; // is neither copied nor moved
    ~SigpipeDisposition() { sigaction(SIGPIPE, &before_, nullptr); }

private:
    struct sigaction before_;
};

/// The shell inherits dispositions, and should start with a clean one.
std::FILE* open_shell(const char* cmd, const char* mode) {
    const SigpipeDisposition clean(SIG_DFL);
    return popen(cmd, mode);
}

/// -1 for a failed pclose, else the byte of the status that holds the exit code.
int pclose_status_to_rc(int status) {
    return status == -1 ? -1 : status >> 8 & 0xff;
}

constexpr std::size_t step = 4096;

/// Everything that the stream gives, cut where memory ends. `buffer` has room for a step and a NUL.
void read_all(std::FILE* stream, char*& buffer) {
    std::size_t fill = 0;
    while (true) {
        const std::size_t count = std::fread(buffer + fill, 1, step, stream);
        fill += count;
        if (count < step)
            break;
        char* const grown = static_cast<char*>(std::realloc(buffer, fill + step + 1));
        if (grown == nullptr) {
            std::fputs("popen_exec: warning: failed to allocate memory for command output buffer\n",
                       stderr);
            break;
        }
        buffer = grown;
    }
    buffer[fill] = '\0';
}

} // namespace

int popen_exec_with_input(const char* cmd, const char* input) {
    std::FILE* const shell = open_shell(cmd, "w");
    if (shell == nullptr) {
        messlog2(0, 0,
                 "Failed to execute command with input: either pipe, fork or memory allocation "
                 "failed.");
        return -1;
    }
    // A command that does not read its input is a short count, not the end of this process.
    const SigpipeDisposition ignored(SIG_IGN);
    const std::size_t length = std::strlen(input);
    std::setvbuf(shell, nullptr, _IONBF, 0); // so that what is counted has been written
    const std::size_t written = std::fwrite(input, 1, length, shell);
    const int status = pclose(shell);
    if (written < length) {
        messlog2(0, 0, "Failed to execute command with input: only %u of %u bytes were written.",
                 static_cast<unsigned>(written), static_cast<unsigned>(length));
        return -1;
    }
    return pclose_status_to_rc(status);
}

int popen_exec_getoutput(char** dest, const char* cmd) {
    std::FILE* const shell = open_shell(cmd, "r");
    if (shell == nullptr) {
        std::fputs("popen_exec: failed to execute command: fork or pipe calls failed, or cannot "
                   "allocate memory\n",
                   stderr);
        return -1;
    }
    char* buffer = static_cast<char*>(std::malloc(step + 1));
    if (buffer == nullptr) {
        std::fputs("popen_exec: failed to allocate memory\n", stderr);
        pclose(shell);
        return -1;
    }
    read_all(shell, buffer);
    const int status = pclose(shell);
    *dest = buffer;
    return pclose_status_to_rc(status);
}

int popen_exec(const char* cmd) {
    char* text = nullptr;
    const int result = popen_exec_getoutput(&text, cmd);
    const MallocedText output(text);
    if (result == -1)
        messlog2(0, 1, "popen_exec: failed to execute command: %s\n", std::strerror(errno));
    else if (result != 0)
        messlog2(0, 1, "popen_exec: command failed code: %d , %s\n", result,
                 output && *output ? output.get() : "error: none");
    return result;
}
