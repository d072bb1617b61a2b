// Text in the form in which two texts are the same when a reader takes them for the same.
#pragma once

#include <string>
#include <string_view>

namespace orvek {

/// How letters that differ in case alone compare.
enum class Case { counts, ignored };

/// `text`, which is UTF-8, normalised (NFC), without what is not seen (soft hyphens, zero-width and
/// other ignorable characters, controls), and with every run of white space as one blank. Where
/// case is ignored, fully folded. Bytes that are no UTF-8 stay as they are. More than 64 characters
/// of which each could combine with the one before it are not normalised across.
std::string letters_of_line(std::string_view text, Case letters);

/// The same for a text of many lines: an empty line, or several, becomes one line feed, so that
/// each line of the result is a paragraph.
std::string letters_of_paragraphs(std::string_view text, Case letters);

} // namespace orvek
