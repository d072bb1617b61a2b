#include "reading/characters.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utf8proc.h>

namespace orvek {

namespace {

/// More than any language needs.
constexpr std::size_t most_marks = 6;

bool is_mark(std::int32_t code) {
    const utf8proc_category_t category = utf8proc_category(code);
    return category == UTF8PROC_CATEGORY_MN || category == UTF8PROC_CATEGORY_ME;
}

/// What is seen, and leaves what is around it where it is: letters, marks, numbers, punctuation,
/// symbols and blanks.
bool is_plain(std::int32_t code) {
    constexpr std::int32_t blank_braille = 0x2800, blank_note = 0x1d159;
    const utf8proc_category_t category = utf8proc_category(code);
    return category >= UTF8PROC_CATEGORY_LU && category <= UTF8PROC_CATEGORY_ZS &&
           !is_unseen(code) && code != blank_braille && code != blank_note && code != '\\';
}

std::string escape_of_byte(char c) {
    constexpr std::string_view bytes = "\n\t\r\\", names = "ntr\\";
    const std::size_t known = bytes.find(c);
    return known == std::string_view::npos ? hex_form("\\x", c)
                                           : concat({"\\", names.substr(known, 1)});
}

std::string escape_of_character(std::int32_t code) {
    std::array<char, 16> escape;
    std::snprintf(escape.data(), escape.size(), "\\u{%04X}", static_cast<unsigned>(code));
    return escape.data();
}

} // namespace

Character first_character(std::string_view text) {
    if (is_ascii(text.front()))
        return {text.front(), 1};
    std::int32_t code = Character::none;
    const auto* const bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    const auto room = static_cast<utf8proc_ssize_t>(std::min<std::size_t>(text.size(), 4));
    const utf8proc_ssize_t length = utf8proc_iterate(bytes, room, &code);
    return length > 0 ? Character{code, static_cast<std::size_t>(length)}
                      : Character{Character::none, 1};
}

bool is_unseen(std::int32_t code) {
    return code != Character::none &&
           (code < 32 || (code >= 0x7f && code < 0xa0) || utf8proc_get_property(code)->ignorable);
}

std::string printable(std::string_view text, bool utf8) {
    std::string shown;
    std::size_t marks = 0;
    while (!text.empty()) {
        const auto [code, length] = first_character(text);
        const std::string_view bytes = text.substr(0, length);
        marks = is_mark(code) ? marks + 1 : 0;
        if (is_plain(code) && marks <= most_marks && (utf8 || length == 1))
            shown += bytes;
        else if (length == 1)
            shown += escape_of_byte(bytes.front());
        else
            shown += escape_of_character(code);
        text.remove_prefix(length);
    }
    return shown;
}

} // namespace orvek
