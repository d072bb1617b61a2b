// Which bytes are UTF-8 already.
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

} // namespace orvek
