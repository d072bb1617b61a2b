// Byte strings with explicit lengths: joining, and characters of ASCII, whatever the locale.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

/// The pieces one after the other, in one allocation.
std::string concat(std::initializer_list<std::string_view> pieces);

/// Where `needle` first occurs in `text`, npos where it does not; the empty one occurs at once.
/// Takes time in proportion to both together, whatever they hold (docs/PERFORMANCE.md).
std::size_t offset_of(std::string_view text, std::string_view needle);

/// Whether `needle` occurs in `text`.
bool contains(std::string_view text, std::string_view needle);

/// The part of `text` before its first NUL byte; all of it when it holds none.
std::string_view until_nul(std::string_view text);

/// `c` in lower case where it is an ASCII letter, else as it is.
constexpr char to_lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// The text with its ASCII letters in lower case.
std::string to_lower(std::string_view text);

/// ASCII letters.
constexpr bool is_letter(char c) {
    return to_lower(c) >= 'a' && to_lower(c) <= 'z';
}

/// ASCII letters and digits.
constexpr bool is_alphanumeric(char c) {
    return is_letter(c) || (c >= '0' && c <= '9');
}

constexpr bool is_ascii(char c) {
    return static_cast<unsigned char>(c) < 128;
}

/// ASCII that is seen, and the blank.
constexpr bool is_printable(char c) {
    return c >= ' ' && c <= '~';
}

constexpr bool is_control(char c) {
    return static_cast<unsigned char>(c) < 32 || c == 127;
}

/// The value of a hexadecimal digit; -1 when `c` is none.
constexpr int hex_value(char c) {
    if (!is_alphanumeric(c) || to_lower(c) > 'f')
        return -1;
    return is_letter(c) ? to_lower(c) - 'a' + 10 : c - '0';
}

/// The byte whose two hexadecimal digits `text` begins with, if it does.
std::optional<char> hex_byte(std::string_view text);

/// `mark` and the two hexadecimal digits of the byte: "=0A".
std::string hex_form(std::string_view mark, char byte);

/// The text with that in place of every byte that may not stay as it is.
std::string escaped(std::string_view text, std::string_view mark, bool (*may_stay)(char));

/// The text up to its first control character but tab: what can stand in a header.
std::string_view until_control(std::string_view text);

/// The text without the bytes of `white` around it.
std::string_view trim(std::string_view text, std::string_view white);

/// A domain, or an address, without the dot that may stand behind it.
constexpr std::string_view without_final_dot(std::string_view name) {
    return name.substr(0, name.size() - (name.ends_with('.') ? 1 : 0));
}

/// Whether the texts are the same but for the case of ASCII letters.
bool equals_ignoring_case(std::string_view a, std::string_view b);

/// Takes the next line off the front of `text`, and the line feed behind it. False when there was
/// none: `line` is then all of the rest, empty or not, and the last.
bool take_line(std::string_view& text, std::string_view& line);
