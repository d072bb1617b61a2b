// Text in the form in which two texts are the same when a reader takes them for the same.
#pragma once

#include <cstddef>
#include <memory>
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

/// The same for a text of many lines, told piece by piece: an empty line, or several, becomes one
/// line feed, so that each line of the result is a paragraph.
class Paragraphs {
public:
    /// `expected` is about how many bytes there are to come.
    Paragraphs(Case letters, std::size_t expected);
    ~Paragraphs();

    /// `piece` ends between two characters.
    void add(std::string_view piece);

    /// The result; to be called once.
    std::string finish();

private:
    class Writer;
    std::unique_ptr<Writer> writer_;
};

/// Whether `text`, which is UTF-8, has anything but white space and what is not seen.
bool shows_text(std::string_view text);

} // namespace orvek
