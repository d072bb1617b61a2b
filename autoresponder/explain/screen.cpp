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

} // namespace

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

std::string shortened(std::string_view text, std::size_t most) {
    if (text.size() <= most)
        return std::string(text);
    return concat({orvek::without_cut_character(text.substr(0, most)), "..."});
}

Style Style::of_standard_output() {
    Style style;
    style.terminal = isatty(STDOUT_FILENO) == 1;
    style.utf8 = environment_is_utf8();
    winsize size = {};
    if (style.terminal && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        style.width = std::max<std::size_t>(size.ws_col, narrowest);
    return style;
}

std::string Page::marked(Mark mark) const {
    static constexpr std::array<std::string_view, 4> ascii = {" ", "+", "-", "!"};
    static constexpr std::array<std::string_view, 4> signs = {" ", "✓", "✗", "!"};
    static constexpr std::array<std::string_view, 4> colours = {"", "\x1B[32m", "\x1B[31m",
                                                                "\x1B[33m"};
    const auto index = static_cast<std::size_t>(mark);
    if (!style_.terminal || mark == Mark::none)
        return std::string(ascii.at(index));
    return concat({colours.at(index), (style_.utf8 ? signs : ascii).at(index), "\x1B[0m"});
}

void Page::put(std::size_t indent, std::string_view front, std::string_view text) {
    const std::size_t room = style_.width > indent ? style_.width - indent : 0;
    page_ += front;
    std::size_t length = 0;
    while (room > 0 && (length = fitting(text, room)) < text.size()) {
        page_.append(text.substr(0, length)).append("\n").append(indent, ' ');
        text.remove_prefix(length);
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    }
    page_.append(text).append("\n");
}

void Page::heading(std::string_view text) {
    const std::string shown = orvek::printable(shortened(text), style_.utf8);
    if (!page_.empty())
        page_ += "\n";
    if (style_.terminal)
        page_ += "\x1B[1m";
    put(0, "", shown);
    if (style_.terminal)
        page_.insert(page_.size() - 1, "\x1B[0m");
}

void Page::row(Mark mark, std::string_view label, std::string_view text) {
    std::string name(label);
    name.resize(std::max(label_width, name.size()), ' ');
    put(indent_of_texts, concat({"  ", marked(mark), " ", name, " "}),
        orvek::printable(shortened(text), style_.utf8));
}

void Page::verdict(Mark mark, std::string_view text) {
    put(2, marked(mark) + " ", orvek::printable(shortened(text), style_.utf8));
}
