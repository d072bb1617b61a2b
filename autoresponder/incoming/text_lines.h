// A list of lines, kept as the one text that they came from: a body of millions of short lines
// costs no more memory than its bytes.
#pragma once

#include "base/text.h"

#include <string>
#include <string_view>
#include <utility>

class TextLines {
public:
    /// No lines at all, which no text can give: an empty text is one empty line.
    bool empty() const { return empty_; }

    /// Appends the lines of `text`: split at each line feed, line feeds dropped, so that n line
    /// feeds give n + 1 lines. Carriage returns stay in their lines.
    void append(std::string text) {
        if (empty_)
            text_ = std::move(text);
        else
            text_.append(1, '\n').append(text);
        empty_ = false;
    }

    /// Where in text() `needle` first occurs within a single line, npos where it does not. The
    /// empty needle occurs in every line; one that holds a line feed in none.
    std::size_t find(std::string_view needle) const {
        return !empty_ && !contains(needle, "\n") ? offset_of(text_, needle)
                                                  : std::string_view::npos;
    }

    /// The lines with line feeds between them.
    const std::string& text() const& { return text_; }
    std::string text() && { return std::move(text_); }

private:
    std::string text_;
    bool empty_ = true;
};
