// What a terminal may be shown: lines of a width, with marks and colours, and of strangers' texts
// nothing that it would obey.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

/// Whether the environment says that its texts are UTF-8 (LC_ALL, else LC_CTYPE, else LANG).
bool environment_is_utf8();

/// A stranger's text can be as long as a mail: no more of each is shown.
inline constexpr std::size_t most_of_text = 4000;

/// The first `most` bytes of `text`, which is UTF-8, and "..." where that is not all.
std::string shortened(std::string_view text, std::size_t most = most_of_text);

enum class Mark { none, yes, no, note };

struct Style {
    /// Colours, and marks beyond ASCII where there is UTF-8.
    bool terminal = false;
    bool utf8 = false;
    /// Columns; 0 for lines as long as they come.
    std::size_t width = 0;

    /// For standard output as it is.
    static Style of_standard_output();
};

/// Puts a page together. All texts that are given come from strangers and are escaped.
class Page {
public:
    explicit Page(const Style& style) : style_(style) {}

    void heading(std::string_view text);

    /// "  + label    text", the text broken at blanks where it is wider than the page.
    void row(Mark mark, std::string_view label, std::string_view text);

    /// A line of its own.
    void verdict(Mark mark, std::string_view text);

    const std::string& text() const { return page_; }

private:
    std::string marked(Mark mark) const;
    void put(std::size_t indent, std::string_view front, std::string_view text);

    Style style_;
    std::string page_;
};
