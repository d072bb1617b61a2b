// What the elements of HTML mean for the text that a reader sees.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace orvek {

/// What an element is, as bits.
enum HtmlTrait : std::uint16_t {
    html_void = 1,             ///< has no content and no end tag
    html_block = 2,            ///< stands in lines of its own
    html_margin = 4,           ///< with empty lines around
    html_cell = 8,             ///< a cell of a table: ends like a word
    html_unseen = 16,          ///< is not shown
    html_raw = 32,             ///< its content is text, whatever stands there
    html_references = 64,      ///< of such content: character references count
    html_preformatted = 128,   ///< white space in it counts
    html_ends_paragraph = 256, ///< no paragraph (p) can hold it
    html_scope = 512,          ///< what is open around it does not end within
    html_table_part = 1024,    ///< the same, but for parts of a table
    html_list = 2048,          ///< the same, but for its items
};

/// The elements of the same number are the same to whoever keeps track of what is open.
struct HtmlElement {
    std::uint8_t number;
    std::uint16_t traits;

    bool is(std::uint16_t trait) const { return (traits & trait) != 0; }
};

/// By name, in any case. Unknown names are inline elements of a few numbers of their own.
HtmlElement find_html_element(std::string_view name);

} // namespace orvek
