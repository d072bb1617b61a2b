// HTML cut into text and tags as a browser cuts it (WHATWG standard, section "Tokenization"), one
// token at a time and forward only: time in proportion to the text, memory for one token.
#pragma once

#include <cstddef>
#include <string_view>

namespace orvek {

/// A piece of text, or a tag. All views are slices of the text that is read.
struct HtmlToken {
    enum class Kind { text, start_tag, end_tag };

    Kind kind = Kind::text;
    /// The text, its character references unresolved; or the tag's name as written.
    std::string_view text;
    /// Whether the tag has an attribute "hidden".
    bool hidden = false;
    /// The value of its first attribute "style", character references unresolved.
    std::string_view style;
};

class HtmlTokens {
public:
    explicit HtmlTokens(std::string_view html) : rest_(html) {}

    /// Moves to the next token; false at the end. Comments, declarations and what the end cuts off
    /// are none.
    bool next();

    /// The token, until the next call of next().
    const HtmlToken& token() const { return token_; }

    /// Behind the start tag of an element whose content is nothing but text: passes over that, up
    /// to its end tag or the end, and returns it.
    std::string_view take_raw_text(std::string_view name);

private:
    bool starts_markup() const;
    bool take_markup();
    std::size_t comment_length() const;
    bool take_tag();
    bool take_attribute();
    std::string_view take_value();
    /// Takes so many bytes, or all of the rest.
    std::string_view take(std::size_t length);

    std::string_view rest_;
    HtmlToken token_;
};

} // namespace orvek
