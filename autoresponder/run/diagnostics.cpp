#include "autoresponder/run/diagnostics.h"

#include "base/text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

std::string last_line;

// Standard error is unbuffered: a line that goes out whole does not mix with a child's.
void write_line(std::string line) {
    last_line = line;
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

} // namespace

void report(std::initializer_list<std::string_view> pieces) {
    const int pending = errno;
    write_line(concat(pieces));
    errno = pending;
}

const std::string& last_report() {
    return last_line;
}

void report_system_error(std::initializer_list<std::string_view> pieces) {
    const int pending = errno;
    write_line(
        concat({concat(pieces), std::strerror(pending), " (", std::to_string(pending), ")"}));
    errno = pending;
}
