// What the elements of HTML mean for the text that a reader sees.
#pragma once

#include <string_view>

namespace orvek {

/// What an element is, as bits. One without any is inline, and ends at its end tag.
enum HtmlTrait : unsigned {
    html_void = 1,           ///< has no content and no end tag
    html_line_end = 2,       ///< ends a line, empty or not
    html_block = 4,          ///< stands in lines of its own
    html_margin = 8,         ///< with empty lines around
    html_cell = 16,          ///< a cell of a table: ends like a word
    html_unseen = 32,        ///< is not shown
    html_raw = 64,           ///< its content is text, whatever stands there
    html_preformatted = 128, ///< white space in it counts
    html_item = 256,         ///< ends at the latest where the next one of its name begins
    html_list = 512,         ///< holds items, which end where it does
    html_paragraph = 1024,   ///< ends at the latest where a block begins or ends
};

/// The traits of the element of that name, in any case.
unsigned html_traits(std::string_view name);

} // namespace orvek
