#include "mimelib/field_text.h"

#include "base/text.h"

namespace mimelib {

std::size_t end_of_line(std::string_view text, std::size_t start) {
    const std::size_t end = text.find('\n', start);
    return end == std::string_view::npos ? text.size() : end + 1;
}

bool is_dot_atom(std::string_view text, bool beyond_ascii) {
    char before = '.';
    for (const char c : text) {
        const bool is_atom = is_alphanumeric(c) || contains("!#$%&'*+-/=?^_`{|}~", {&c, 1}) ||
                             (beyond_ascii && !is_ascii(c));
        if (c == '.' ? before == '.' : !is_atom)
            return false;
        before = c;
    }
    return before != '.';
}

std::string local_part(std::string_view text) {
    if (is_dot_atom(text, true))
        return std::string(text);
    std::string result = "\"";
    for (const char c : text)
        result.append(c == '"' || c == '\\' ? "\\" : "").append(1, c);
    return result += '"';
}

bool Scanner::skip_white() {
    while (!at_end() && (peek() == '(' || is_white(peek()))) {
        if (peek() == '(')
            skip_comment();
        else
            ++position_;
    }
    return !at_end();
}

bool Scanner::take_behind_white(char c) {
    const bool is_there = skip_white() && peek() == c;
    position_ += is_there;
    return is_there;
}

void Scanner::skip_comment() {
    std::size_t depth = 0;
    while (!at_end()) {
        const char c = take();
        if (c == '\\' && !at_end())
            ++position_;
        else if (c == '(')
            ++depth;
        else if (c == ')' && --depth == 0)
            return;
    }
}

std::string_view Scanner::take_until(std::string_view stops) {
    const std::size_t start = position_;
    while (!at_end() && !is_white(peek()) && stops.find(peek()) == std::string_view::npos)
        ++position_;
    return text_.substr(start, position_ - start);
}

std::string_view Scanner::take_word(std::string_view stops) {
    skip_white();
    return take_until(stops);
}

std::string Scanner::take_quoted() {
    std::string content;
    ++position_;
    while (!at_end()) {
        const char c = take();
        if (c == '"')
            break;
        content += c == '\\' && !at_end() ? take() : c;
    }
    return content;
}

std::string_view Scanner::take_encoded_word(std::string_view stops) {
    const std::string_view rest = text_.substr(position_);
    if (rest.substr(0, 2) != "=?")
        return {};
    std::size_t mark = 1;
    for (const std::string_view ends : {"? \t\r\n()<>[]:;@\\,.\"", "? \t\r\n", "? \t\r\n"}) {
        mark = rest.find_first_of(ends, mark + 1);
        if (mark == std::string_view::npos || rest[mark] != '?')
            return {};
    }
    if (rest.substr(mark, 2) != "?=")
        return {};
    position_ += mark + 2;
    return rest.substr(0, mark + 2 + take_until(stops).size());
}

} // namespace mimelib
