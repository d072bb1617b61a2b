// Which bytes are UTF-8, and what becomes of those that are not.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvek {

/// How many bytes at the front of `text` are ASCII.
std::size_t ascii_length(std::string_view text);

/// Length of the longest front part of `text` that consists of whole, well-formed characters
/// (RFC 3629). NUL is one of them.
std::size_t well_formed_utf8_length(std::string_view text);

/// Whether the byte stands within a character of UTF-8, behind its first.
constexpr bool continues_character(char c) {
    return (static_cast<unsigned char>(c) & 0xc0) == 0x80;
}

/// U+FFFD, which stands for what is no character.
inline constexpr char no_character[] = "\xef\xbf\xbd";

/// `text` with U+FFFD for every byte that belongs to no well-formed character.
std::string without_ill_formed_utf8(std::string_view text);

/// `text` without the beginning of a character that it may end in.
std::string_view without_cut_character(std::string_view text);

} // namespace orvek
