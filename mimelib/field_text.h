// Lexical pieces that structured header fields share (RFC 5322 section 3.2, RFC 2045 section 5.1).
// All of them work on views, forward only, so that reading a field is linear in its length.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace mimelib {

inline bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

inline bool is_white(char c) {
    return is_blank(c) || c == '\r' || c == '\n';
}

/// Where the line that holds `start` ends, behind its line feed if it has one.
std::size_t end_of_line(std::string_view text, std::size_t start);

/// Whether the text is a dot-atom (RFC 5322 section 3.2.3); where `beyond_ascii` says so, bytes
/// beyond ASCII count as letters (RFC 6532 section 3.2).
bool is_dot_atom(std::string_view text, bool beyond_ascii = false);

/// The text as it is written in front of an address's "@": as a quoted string where it is no
/// dot-atom (RFC 5321 section 4.1.2).
std::string local_part(std::string_view text);

/// A position in a field's text that only moves forward.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    bool at_end() const { return position_ >= text_.size(); }
    /// The next byte, which there must be: at the end std::out_of_range is thrown. It may lie
    /// within a larger text, so nothing else would notice.
    char peek() const { return text_.at(position_); }
    char take() { return text_.at(position_++); }
    std::size_t position() const { return position_; }

    /// Passes over white space and comments, nested ones included; a comment without an end reaches
    /// to the end of the text. Returns whether anything stands behind them.
    bool skip_white();

    /// Passes over these, and takes `c` if it stands behind them. Returns whether it did.
    bool take_behind_white(char c);

    /// Passes over these, and takes bytes up to the first white space or byte of `stops`.
    std::string_view take_word(std::string_view stops);

    /// At an opening quote: takes the quoted string and returns its content without quotes and
    /// backslashes; line breaks stay. One without an end reaches to the end of the text.
    std::string take_quoted();

    /// Takes an encoded word (RFC 2047), whatever its encoded text holds besides white space, and
    /// the bytes behind it up to the first white space or byte of `stops`. Empty, and nothing
    /// taken, when there is none. Looks no further than four question marks for its end.
    std::string_view take_encoded_word(std::string_view stops);

private:
    void skip_comment();
    std::string_view take_until(std::string_view stops);

    std::string_view text_;
    std::size_t position_ = 0;
};

} // namespace mimelib
