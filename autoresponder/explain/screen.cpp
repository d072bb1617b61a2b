#include "autoresponder/explain/screen.h"

#include "base/text.h"
#include "codecs/utf8.h"
#include "reading/characters.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utf8proc.h>

namespace {

constexpr std::size_t label_width = 12;
constexpr std::size_t indent_of_texts = 4 + label_width + 1;
constexpr std::size_t narrowest = 40;

/// How much of a printable text fits into so many columns: up to a blank where there is one, else
/// up to the last character.
std::size_t fitting(std::string_view text, std::size_t room) {
    std::size_t at = 0;
    std::size_t used = 0;
    std::size_t blank = 0;
    while (at < text.size()) {
        const auto [code, length] = orvek::first_character(text.substr(at));
        used += static_cast<std::size_t>(utf8proc_charwidth(code));
        if (used > room)
            return std::max<std::size_t>(blank > 0 ? blank : at, 1);
        if (text[at] == ' ')
            blank = at;
        at += length;
    }
    return at;
}

/// LC_ALL, else LC_CTYPE, else LANG says that texts are UTF-8.
bool environment_is_utf8() {
    for (const char* const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* const value = std::getenv(name);
        if (value == nullptr || *value == '\0')
            continue;
        const std::string lower = to_lower(value);
        return contains(lower, "utf-8") || contains(lower, "utf8");
    }
    return false;
}

} // namespace

std::string shortened(std::string_view text, std::size_t most) {
    if (text.size() <= most)
        return std::string(text);
    return concat({orvek::without_cut_character(text.substr(0, most)), "..."});
}

Page::Page() : is_terminal_(isatty(STDOUT_FILENO) == 1), is_utf8_(environment_is_utf8()) {
    winsize size = {};
    if (is_terminal_ && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        width_ = std::max<std::size_t>(size.ws_col, narrowest);
}

std::string Page::marked(Mark mark) const {
    static constexpr std::array<std::string_view, 4> ascii = {" ", "+", "-", "!"};
    static constexpr std::array<std::string_view, 4> signs = {" ", "✓", "✗", "!"};
    static constexpr std::array<std::string_view, 4> colours = {"", "\x1B[32m", "\x1B[31m",
                                                                "\x1B[33m"};
    const auto index = static_cast<std::size_t>(mark);
    if (!is_terminal_ || mark == Mark::none)
        return std::string(ascii.at(index));
    return concat({colours.at(index), (is_utf8_ ? signs : ascii).at(index), "\x1B[0m"});
}

void Page::put(std::size_t indent, std::string_view front, Pieces text, std::string_view end) {
    const std::string shown = orvek::printable(shortened(concat(text)), is_utf8_);
    std::string_view rest = shown;
    page_ += front;
    while (width_ > 0) {
        const std::size_t length = fitting(rest, width_ - indent);
        if (length == rest.size())
            break;
        page_.append(rest.substr(0, length)).append("\n").append(indent, ' ');
        rest.remove_prefix(length);
        rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    }
    page_.append(rest).append(end);
}

void Page::heading(Pieces text) {
    if (!page_.empty())
        page_ += "\n";
    put(0, is_terminal_ ? "\x1B[1m" : "", text, is_terminal_ ? "\x1B[0m\n" : "\n");
}

void Page::row(Mark mark, std::string_view label, Pieces text) {
    std::string name(label);
    name.resize(std::max(label_width, name.size()), ' ');
    put(indent_of_texts, concat({"  ", marked(mark), " ", name, " "}), text);
}

void Page::verdict(Mark mark, Pieces text) {
    put(2, marked(mark) + " ", text);
}
