// Charset recoding (iconv) and encoded words in header text (RFC 1522, today RFC 2047). Bytes in,
// bytes out; what cannot be skipped is thrown as std::runtime_error with a fixed text.
#pragma once

#include <string>
#include <string_view>

namespace orvek {

/// Whether recoding `text` would give `text`, as far as that can be told without iconv: for
/// well-formed UTF-8 and for ASCII that is called "US-ASCII", recoded to UTF-8. Most mail is of
/// that kind, and looking takes a small part of the time of recoding a text to what it is; a run
/// that recodes nothing else also saves opening the system's table of conversions.
bool is_same_in_both(std::string_view text, const std::string& from, const std::string& to);

/// `text`, all of it, NUL bytes included, recoded from one charset to another. The names go to
/// iconv as they are, those of more than 128 bytes count as unknown. With `replace_invalid` a byte
/// that is no valid input becomes "?"; without it, and for a sequence that the end of the text cuts
/// off, std::runtime_error is thrown, as for names that iconv does not know. What a converter holds
/// back until it hears that the text is at its end, a last letter or the way back to ASCII, is lost
/// unless `flush` is set.
std::string iconvRecode(const std::string& text, const std::string& from, const std::string& to,
                        bool replace_invalid, bool flush = false);

/// Lenient Base64: white space is skipped, other bytes outside the alphabet too, with a diagnostic
/// on standard error; the first "=" ends the text. Of each kind of diagnostic a text has a hundred,
/// then one line with the number of the others; so below.
std::string base64_decode(const std::string& text);

namespace rfc1522 {

/// Header text with its encoded words decoded to UTF-8 and the blanks between adjacent encoded
/// words dropped. Words that are malformed stay as they are, with a diagnostic on standard error.
/// Text that ends in blanks keeps them. Throws what iconvRecode throws for a word's charset;
/// `flush` is handed on to it.
std::string decode(std::string text, bool flush = false);

/// UTF-8 text for a header: unchanged when no character needs it, else with everything from the
/// word of the first such character on as one "Q" encoded word of any length. The result holds no
/// control characters but 127.
std::string encode(std::string text);

} // namespace rfc1522
} // namespace orvek
