#include "base/report.h"

#include "base/io.h"
#include "base/text.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <unistd.h>
#include <utility>

namespace {

Listening::Hearer hearer;

/// Kept without memory, which may be what has run out.
std::array<char, 300> last_line;
std::size_t last_length = 0;

void remember(std::initializer_list<std::string_view> pieces) {
    last_length = 0;
    for (const std::string_view piece : pieces)
        last_length += piece.copy(last_line.data() + last_length, last_line.size() - last_length);
}

void pass_on(std::initializer_list<std::string_view> pieces) {
    const int pending = errno;
    if (hearer)
        hearer(concat(pieces));
    else
        // Not through a stream's buffer: a line that goes out whole does not mix with a child's.
        write_pieces(STDERR_FILENO, pieces, "\n");
    errno = pending;
}

} // namespace

void say(std::initializer_list<std::string_view> pieces) {
    remember(pieces);
    pass_on(pieces);
}

void report(std::initializer_list<std::string_view> pieces) {
    say(pieces);
}

void report_system_error(std::initializer_list<std::string_view> pieces) {
    const int pending = errno;
    report({concat(pieces), std::strerror(pending), " (", std::to_string(pending), ")"});
    errno = pending;
}

void report_unreadable(const char* path) {
    const int pending = errno;
    const bool is_missing = access(path, F_OK) == -1 && errno == ENOENT;
    errno = pending;
    if (!is_missing)
        report_system_error({"autoresponder: Unable to read '", path, "': "});
}

void report_consequence(std::initializer_list<std::string_view> pieces) {
    pass_on(pieces);
}

std::string_view last_said() {
    return {last_line.data(), last_length};
}

Listening::Listening(Hearer given) : outer_(std::exchange(hearer, std::move(given))) {}

Listening::~Listening() {
    hearer = std::move(outer_);
}

bool Listening::is_on() {
    return static_cast<bool>(hearer);
}
