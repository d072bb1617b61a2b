// Characters of UTF-8, and which of them a person sees.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace orvek {

/// The front of a text: a character, or a byte that belongs to none.
struct Character {
    static constexpr std::int32_t none = -1;

    std::int32_t code;
    std::size_t length;
};

/// `text` is not empty.
Character first_character(std::string_view text);

/// Whether nothing is seen of the character and it is no white space either: a control, or what
/// Unicode calls ignorable.
bool is_unseen(std::int32_t code);

/// `text` as a terminal may be shown it: an escape for every byte or character that is no letter,
/// digit, sign or blank, that is not seen, or that is one mark too many on the same letter. "\n",
/// "\t", "\r", "\x1B" for bytes, "\u{202E}" for characters, and "\\". Without `utf8` for all that
/// is not ASCII.
std::string printable(std::string_view text, bool utf8);

} // namespace orvek
