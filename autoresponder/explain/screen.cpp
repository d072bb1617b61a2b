#include "autoresponder/explain/screen.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utf8proc.h>

namespace {

constexpr std::size_t label_width = 12;
constexpr std::size_t indent_of_texts = 4 + label_width + 1;
constexpr std::size_t narrowest = 40;

std::string hex(std::uint32_t value, std::size_t digits) {
    constexpr char symbols[] = "0123456789ABCDEF";
    std::string text;
    for (; value != 0 || text.size() < digits; value >>= 4)
        text.insert(text.begin(), symbols[value & 15]);
    return text;
}

/// What is seen, and leaves what is around it where it is.
bool is_plain(utf8proc_int32_t character) {
    switch (utf8proc_category(character)) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_CS:
    case UTF8PROC_CATEGORY_CO:
    case UTF8PROC_CATEGORY_CN:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
        return false;
    default:
        return true;
    }
}

std::string escape_of_byte(char c) {
    switch (c) {
    case '\n':
        return "\\n";
    case '\t':
        return "\\t";
    case '\r':
        return "\\r";
    case '\\':
        return "\\\\";
    default:
        return "\\x" + hex(static_cast<unsigned char>(c), 2);
    }
}

/// The character that `text` begins with, and its length; the length is 0 where there is none.
std::pair<utf8proc_int32_t, std::size_t> first_character(std::string_view text) {
    utf8proc_int32_t character = -1;
    const utf8proc_ssize_t length =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                         static_cast<utf8proc_ssize_t>(text.size()), &character);
    return {character, length > 0 && character >= 0 ? static_cast<std::size_t>(length) : 0};
}

/// How much of a printable text fits into so many columns: up to a blank where there is one, else
/// up to the last character.
std::size_t fitting(std::string_view text, std::size_t room) {
    std::size_t at = 0;
    std::size_t used = 0;
    std::size_t blank = 0;
    while (at < text.size()) {
        const auto [character, length] = first_character(text.substr(at));
        used += length == 0 ? 1 : static_cast<std::size_t>(utf8proc_charwidth(character));
        if (used > room)
            return std::max<std::size_t>(blank > 0 ? blank : at, 1);
        if (text[at] == ' ')
            blank = at;
        at += std::max<std::size_t>(length, 1);
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

std::string printable(std::string_view text, bool utf8) {
    std::string shown;
    while (!text.empty()) {
        const auto [character, length] = first_character(text);
        const std::string_view bytes = text.substr(0, std::max<std::size_t>(length, 1));
        const bool ascii = length == 1;
        if (length == 0 || (ascii && (!is_plain(character) || character == '\\')))
            shown += escape_of_byte(bytes.front());
        else if (ascii || (utf8 && is_plain(character)))
            shown += bytes;
        else
            shown += concat({"\\u{", hex(static_cast<std::uint32_t>(character), 4), "}"});
        text.remove_prefix(bytes.size());
    }
    return shown;
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
    const std::string shown = printable(text, style_.utf8);
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
        printable(text, style_.utf8));
}

void Page::row(Mark mark, std::string_view label, std::string_view before, std::string_view place,
               std::string_view after) {
    row(mark, label, concat({before, ">>", place, "<<", after}));
}

void Page::verdict(Mark mark, std::string_view text) {
    put(2, marked(mark) + " ", printable(text, style_.utf8));
}
