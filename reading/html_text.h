// The text of an HTML document that a reader sees.
#pragma once

#include <string>

namespace orvek {

/// The visible text of `html`, both in UTF-8: without tags, comments, scripts, styles, titles and
/// hidden elements, with character references resolved. Blocks, rows and "br" end a line,
/// paragraphs and their like have an empty line around them, and a cell of a table ends like a
/// word. Hidden is what has the attribute "hidden", or display:none or visibility:hidden in its
/// attribute "style", up to its end tag.
///
/// Nobody keeps track of what is open, but for the one element that hides what stands in it: tags
/// that nest wrongly mean what they say. Works for any bytes, in time in proportion to their
/// number, and within the text that it is given.
std::string html_text(std::string html);

} // namespace orvek
