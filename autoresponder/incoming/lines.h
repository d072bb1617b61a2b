// Plain text as mail programs lay it out: quotation marks off, flowed lines joined (RFC 3676).
#pragma once

#include "reading/letters.h"

#include <string_view>

/// How the sender says that the text is laid out.
struct LineFormat {
    bool flowed = false; ///< format=flowed
    bool del_space =
        false; ///< DelSp=yes: the blank that a flowed line ends in is not part of the text
};

/// Tells `out` the text without the marks of quotation and what flowed text is stuffed with, an
/// empty line between lines of different quoting depth and around a signature's separator.
void add_shown_lines(std::string_view text, LineFormat format, orvek::Paragraphs& out);
