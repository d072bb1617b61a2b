// Small helpers for byte strings with explicit lengths.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

/// The pieces one after the other, in one allocation.
std::string concat(std::initializer_list<std::string_view> pieces);

/// The part of `text` before its first NUL byte; all of it when it holds none.
std::string_view until_nul(std::string_view text);

/// `text` as a signed 32-bit number by the rules of strtol in base 10: leading white space and a
/// sign are allowed, reading stops at the first character that is no digit, text without digits is
/// 0, and what does not fit becomes the nearest value that does. Leaves errno alone.
std::int32_t decimal_number(const std::string& text);
