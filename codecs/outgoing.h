// Forms that outgoing mail takes today: encoded words that keep to their length, parameters in
// RFC 2231 form, quoted-printable text. UTF-8 in; bytes that are none stand as U+FFFD.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvek::outgoing {

/// RFC 5322 section 2.1.1: characters of a line, its end left out.
inline constexpr std::size_t max_line = 998;

/// Header text behind `used` characters of its first line (the field's name, colon and blank),
/// folded between words into lines of at most 76 characters. Words that are not ASCII, or could be
/// taken for encoded, stand in encoded words of at most 75 characters, none of which ends inside a
/// character (RFC 2047). A word of ASCII may be longer than 76 characters, never than 998. Control
/// characters become blanks.
std::string header_text(std::string_view text, std::size_t used);

/// A structured field's value, folded at blanks and behind commas where a line would exceed 998
/// characters. A piece that is longer by itself stays so.
std::string folded(std::string_view value, std::size_t used);

/// `name*=utf-8''value` (RFC 2231 section 4).
std::string extended_parameter(std::string_view name, std::string_view value);

/// A structured field's value with the domains behind its "@" in ASCII form, as far as they have
/// one.
std::string with_ascii_domains(std::string_view addresses);

/// Whether a text cannot go out as it is: a line of more than 998 bytes, a NUL, or a carriage
/// return without a line feed (RFC 5322 section 2.3).
bool needs_quoted_printable(std::string_view text);

/// `text`, in any charset, with lines ended by LF or CRLF (RFC 2045 section 6.7).
std::string quoted_printable(std::string_view text);

/// Whether text of letters, digits and common marks is the same bytes in `charset` as in ASCII, so
/// that the lines around it can be told from it. False for a charset that nobody knows.
bool holds_ascii(const std::string& charset);

} // namespace orvek::outgoing
