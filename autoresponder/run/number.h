// Numbers as the panel's database and the mail server's files spell them.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

/// `text` as a signed 32-bit number by the rules of strtol in base 10: leading white space and a
/// sign are allowed, reading stops at the first character that is no digit, text without digits is
/// 0, and what does not fit becomes the nearest value that does. Leaves errno alone.
std::int32_t decimal_number(const std::string& text);

/// The number that all of `text` is, in decimal digits, behind a "-" where it is below 0.
template <typename Number>
std::optional<Number> whole_number(std::string_view text) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto [behind, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && behind == end ? std::optional(number) : std::nullopt;
}

/// `text` where all of it is a number from 1 to `most`; else `otherwise`.
int number_up_to(int most, std::string_view text, int otherwise);
