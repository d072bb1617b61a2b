#include "reading/html_tokens.h"

#include "base/text.h"

namespace orvek {

namespace {

constexpr std::string_view white = " \t\n\f\r";
constexpr std::string_view name_ends = " \t\n\f\r/>";

} // namespace

bool HtmlTokens::next() {
    while (!rest_.empty()) {
        token_ = {};
        if (!starts_markup()) {
            token_.text = take(rest_.find('<', 1));
            return true;
        }
        if (take_markup())
            return true;
    }
    return false;
}

bool HtmlTokens::starts_markup() const {
    if (rest_.front() != '<' || rest_.size() == 1)
        return false;
    const char next = rest_[1];
    return is_letter(next) || next == '!' || next == '?' || (next == '/' && rest_.size() > 2);
}

/// At "<": takes a tag, or passes over what is none. Returns whether it was one.
bool HtmlTokens::take_markup() {
    const bool ends = rest_[1] == '/';
    if (is_letter(rest_[1 + ends])) {
        token_.kind = ends ? HtmlToken::Kind::end_tag : HtmlToken::Kind::start_tag;
        take(std::size_t{1} + ends);
        return take_tag();
    }
    if (rest_.starts_with("<!--"))
        take(comment_length());
    else
        take(rest_.find('>'));
    take(1);
    return false;
}

/// Without its ">". "<!-->" is a whole comment; one without an end reaches to the end of the text.
std::size_t HtmlTokens::comment_length() const {
    constexpr std::size_t start = 2;
    std::size_t end = rest_.find('>');
    while (end != std::string_view::npos) {
        const std::string_view comment = rest_.substr(start, end - start);
        if (comment.ends_with("--") || comment.ends_with("--!"))
            break;
        end = rest_.find('>', end + 1);
    }
    return end;
}

/// False when the end cuts it off.
bool HtmlTokens::take_tag() {
    token_.text = take(rest_.find_first_of(name_ends));
    while (take_attribute()) {
    }
    return !take(1).empty(); // ">"
}

/// False at the ">" that ends the tag, and at the end of the text.
bool HtmlTokens::take_attribute() {
    take(rest_.find_first_not_of(" \t\n\f\r/"));
    if (rest_.empty() || rest_.front() == '>')
        return false;
    const std::string_view name = take(rest_.find_first_of(" \t\n\f\r/>=", 1));
    take(rest_.find_first_not_of(white));
    const std::string_view value = rest_.starts_with('=') ? take_value() : std::string_view();
    if (equals_ignoring_case(name, "hidden"))
        token_.hidden = true;
    else if (token_.style.empty() && equals_ignoring_case(name, "style"))
        token_.style = value;
    return true;
}

/// At "=".
std::string_view HtmlTokens::take_value() {
    take(1);
    take(rest_.find_first_not_of(white));
    if (!rest_.starts_with('"') && !rest_.starts_with('\''))
        return take(rest_.find_first_of(" \t\n\f\r>"));
    const std::string_view quote = take(1);
    const std::string_view value = take(rest_.find(quote));
    take(1);
    return value;
}

std::string_view HtmlTokens::take(std::size_t length) {
    const std::string_view front = rest_.substr(0, length);
    rest_.remove_prefix(front.size());
    return front;
}

std::string_view HtmlTokens::take_raw_text(std::string_view name) {
    std::size_t end = rest_.find("</");
    while (end != std::string_view::npos) {
        const std::string_view tag = rest_.substr(end + 2, name.size() + 1);
        if (equals_ignoring_case(tag.substr(0, name.size()), name) &&
            contains(name_ends, tag.substr(name.size())))
            break;
        end = rest_.find("</", end + 2);
    }
    return take(end);
}

} // namespace orvek
