#include "base/report.h"

#include "base/text.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <sys/uio.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::size_t most_pieces = 15;

Listening::Hearer hearer;

/// Kept without memory, which may be what has run out.
std::array<char, 300> last_line;
std::size_t last_length = 0;

void remember(std::initializer_list<std::string_view> pieces) {
    last_length = 0;
    for (const std::string_view piece : pieces)
        last_length += piece.copy(last_line.data() + last_length, last_line.size() - last_length);
}

/// Not through a stream's buffer: a line that goes out whole does not mix with a child's.
void write_line(std::initializer_list<std::string_view> pieces) {
    std::array<iovec, most_pieces + 1> parts;
    int count = 0;
    const auto add = [&](std::string_view piece) {
        parts.at(static_cast<std::size_t>(count++)) = {const_cast<char*>(piece.data()),
                                                       piece.size()};
    };
    for (const std::string_view piece : pieces)
        add(piece);
    add("\n");
    [[maybe_unused]] const ssize_t written = writev(STDERR_FILENO, parts.data(), count);
}

void pass_on(std::initializer_list<std::string_view> pieces) {
    const int pending = errno;
    if (hearer)
        hearer(concat(pieces));
    else
        write_line(pieces);
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
