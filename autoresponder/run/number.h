// Numbers as the panel's database and the mail server's files spell them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// `text` as a signed 32-bit number by the rules of strtol in base 10: leading white space and a
/// sign are allowed, reading stops at the first character that is no digit, text without digits is
/// 0, and what does not fit becomes the nearest value that does. Leaves errno alone.
std::int32_t decimal_number(const std::string& text);

/// `text` where all of it is a number from 1 to `most`; else `otherwise`.
int number_up_to(int most, std::string_view text, int otherwise);
