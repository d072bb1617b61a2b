// What a terminal may be shown: lines of a width, with marks and colours, and of strangers' texts
// nothing that it would obey.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

/// A stranger's text can be as long as a mail: no more of each is shown.
inline constexpr std::size_t most_of_text = 4000;

/// The first `most` bytes of `text`, which is UTF-8, and "..." where that is not all.
std::string shortened(std::string_view text, std::size_t most = most_of_text);

enum class Mark { none, yes, no, note };

/// Puts a page together. Its texts, each given in pieces, come from strangers and are escaped.
class Page {
public:
    using Pieces = std::initializer_list<std::string_view>;

    /// For standard output as it is: a terminal gets colours and lines that are no wider.
    Page();

    void heading(Pieces text);

    /// "  + label    text", the text broken at blanks where it is wider than the page.
    void row(Mark mark, std::string_view label, Pieces text);

    /// A line of its own.
    void verdict(Mark mark, Pieces text);

    const std::string& text() const { return page_; }

private:
    std::string marked(Mark mark) const;
    void put(std::size_t indent, std::string_view front, Pieces text, std::string_view end = "\n");

    /// Colours, and marks beyond ASCII where there is UTF-8.
    bool is_terminal_;
    bool is_utf8_;
    /// Columns; 0 for lines as long as they come.
    std::size_t width_ = 0;
    std::string page_;
};
