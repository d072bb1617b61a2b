// Text in the form in which two texts are the same when a reader takes them for the same.
#pragma once

#include <cstddef>
#include <cstdint>
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
    /// `expected` is about how many bytes there are to come. With `one_line` line ends are white
    /// space like any other.
    Paragraphs(Case letters, std::size_t expected, bool one_line = false);

    /// `piece` ends between two characters.
    void add(std::string_view piece);

    /// The result; to be called once.
    std::string finish();

private:
    void add_graphic(std::string_view text);
    std::size_t add_front(std::string_view text);
    void hold(std::int32_t code, std::string_view bytes);
    void release();
    void end_white();

    Case letters_;
    bool one_line_;
    std::string out_;
    bool ends_in_letter_ = false; // of ASCII: a mark that follows makes one character with it
    bool white_ = false;          // what came last, and is not written yet
    std::size_t line_ends_ = 0;   // in it
    std::string held_;            // characters that what follows may still change
    std::size_t held_count_ = 0;
    bool held_stays_ = false; // the one that is held is in its normal form
};

/// Whether `text`, which is UTF-8, has anything but white space and what is not seen.
bool shows_text(std::string_view text);

} // namespace orvek
