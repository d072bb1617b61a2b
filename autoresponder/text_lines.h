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

    /// Whether `needle` occurs within a single line. The empty needle occurs in every line; one
    /// that holds a line feed in none.
    bool any_contains(std::string_view needle) const {
        return !empty_ && !contains(needle, "\n") && contains(text_, needle);
    }

    /// The lines with line feeds between them.
    const std::string& text() const { return text_; }

private:
    std::string text_;
    bool empty_ = true;
};
