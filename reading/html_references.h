// Character references of HTML: "&amp;", "&#228;", "&#xe4;", numbers by the WHATWG standard, names
// of HTML 4.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvek {

/// `text` begins with "&". Appends the characters that the reference there stands for, in UTF-8, to
/// `out`, and returns its length; 0, with nothing appended, when it is none. Takes time that does
/// not depend on the length of `text` but for the digits of a number. What is appended is never
/// longer than the reference.
std::size_t resolve_reference(std::string_view text, std::string& out);

} // namespace orvek
