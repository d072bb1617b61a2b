#include "autoresponder/explain/listener.h"

#include "base/io.h"
#include "base/text.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int standard_error = -1; // while it is listened to

std::string heard() {
    struct stat status;
    std::string text;
    if (fstat(STDERR_FILENO, &status) == 0)
        text.resize(static_cast<std::size_t>(status.st_size));
    const ssize_t count = pread(STDERR_FILENO, text.data(), text.size(), 0);
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
}

void stop_listening() {
    dup2(standard_error, STDERR_FILENO);
    close(standard_error);
    standard_error = -1;
}

void pass_on_at_exit() noexcept {
    if (standard_error != -1)
        write_fully(standard_error, heard());
}

} // namespace

Listener::Listener() {
    static const int registered = std::atexit(pass_on_at_exit);
    const int memory = memfd_create("said", MFD_CLOEXEC);
    standard_error = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    if (registered != 0 || memory == -1 || standard_error == -1)
        throw std::runtime_error("no memory for what is said");
    dup2(memory, STDERR_FILENO);
    close(memory);
}

Listener::~Listener() {
    stop_listening();
}

std::vector<std::string> Listener::lines() const {
    const std::string text = heard();
    std::string_view rest = text;
    std::string_view line;
    std::vector<std::string> lines;
    while (take_line(rest, line))
        lines.emplace_back(line);
    return lines;
}

SilentOutput::SilentOutput() : output_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere != -1) {
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
}

SilentOutput::~SilentOutput() {
    std::fflush(stdout);
    dup2(output_, STDOUT_FILENO);
    close(output_);
}
