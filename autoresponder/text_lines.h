// A list of lines, kept as the one text that they came from: a body of millions of short lines
// costs no more memory than its bytes.
#pragma once

#include <cstring>
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
    /// that holds a line feed in none. memmem, since std::string's search takes five times as long
    /// for words and twice as long for what is made to slow it down (docs/PERFORMANCE.md).
    bool any_contains(std::string_view needle) const {
        return !empty_ && needle.find('\n') == std::string_view::npos &&
               memmem(text_.data(), text_.size(), needle.data(), needle.size()) != nullptr;
    }

    /// The lines with line feeds between them.
    const std::string& text() const { return text_; }

private:
    std::string text_;
    bool empty_ = true;
};
