#include "base/report.h"

#include "base/io.h"
#include "base/text.h"

#include <algorithm>
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

void pass_on(std::initializer_list<std::string_view> pieces) {
    const int pending = errno;
    if (hearer)
        hearer(concat(pieces));
    else
        // Not through a stream's buffer: a line that goes out whole does not mix with a child's.
        write_pieces(STDERR_FILENO, pieces, "\n");
    errno = pending;
}

/// What is ours is short and one line anyway.
constexpr std::size_t longest_piece = 300;

bool is_one_line(std::string_view piece) {
    return piece.size() <= longest_piece && std::none_of(piece.begin(), piece.end(), is_control);
}

std::string in_one_line(std::initializer_list<std::string_view> pieces) {
    std::string line;
    for (const std::string_view piece : pieces) {
        line +=
            escaped(piece.substr(0, longest_piece), "\\x", [](char c) { return !is_control(c); });
        line += piece.size() > longest_piece ? "..." : "";
    }
    return line;
}

} // namespace

void say(std::initializer_list<std::string_view> pieces) {
    last_length = 0;
    for (const std::string_view piece : pieces)
        last_length += piece.copy(last_line.data() + last_length, last_line.size() - last_length);
    pass_on(pieces);
}

void report(std::initializer_list<std::string_view> pieces) {
    if (std::all_of(pieces.begin(), pieces.end(), is_one_line))
        say(pieces);
    else
        say({in_one_line(pieces)});
}

void report_system_error(std::initializer_list<std::string_view> pieces) {
    const int pending = errno;
    say({in_one_line(pieces), std::strerror(pending), " (", std::to_string(pending), ")"});
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
