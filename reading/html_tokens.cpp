#include "reading/html_tokens.h"

#include "base/text.h"

#include <algorithm>

namespace orvek {

bool HtmlTokens::next() {
    while (at_ < html_.size()) {
        token_ = {};
        if (!starts_markup()) {
            const std::size_t end = std::min(html_.find('<', at_ + 1), html_.size());
            token_.text = html_.substr(at_, end - at_);
            at_ = end;
            return true;
        }
        if (take_markup())
            return true;
    }
    return false;
}

bool HtmlTokens::starts_markup() const {
    if (html_[at_] != '<' || at_ + 1 == html_.size())
        return false;
    const char next = html_[at_ + 1];
    return is_letter(next) || next == '!' || next == '?' || (next == '/' && at_ + 2 < html_.size());
}

/// At "<": takes a tag, or passes over what is none. Returns whether it was one.
bool HtmlTokens::take_markup() {
    const bool ends = html_[at_ + 1] == '/';
    if (is_letter(html_[at_ + 1 + ends])) {
        token_.kind = ends ? HtmlToken::Kind::end_tag : HtmlToken::Kind::start_tag;
        at_ += std::size_t{1} + ends;
        return take_tag();
    }
    if (html_.substr(at_, 4) == "<!--")
        skip_comment();
    else
        at_ = std::min(html_.find('>', at_), html_.size() - 1) + 1;
    return false;
}

/// "<!-->" is a whole comment; one without an end reaches to the end of the text.
void HtmlTokens::skip_comment() {
    const std::size_t start = at_ + 2;
    for (at_ = html_.find('>', start); at_ != std::string_view::npos;
         at_ = html_.find('>', at_ + 1)) {
        const std::string_view comment = html_.substr(start, at_ - start);
        if (comment.ends_with("--") || comment.ends_with("--!")) {
            ++at_;
            return;
        }
    }
    at_ = html_.size();
}

/// False when the end cuts it off.
bool HtmlTokens::take_tag() {
    token_.text = take_until(" \t\n\f\r/>");
    while (take_attribute()) {
    }
    return at_++ < html_.size(); // ">"
}

/// False at the ">" that ends the tag, and at the end of the text.
bool HtmlTokens::take_attribute() {
    skip_any(" \t\n\f\r/");
    if (at_ == html_.size() || html_[at_] == '>')
        return false;
    const std::size_t start = at_++;
    take_until(" \t\n\f\r/>=");
    const std::string_view name = html_.substr(start, at_ - start);
    skip_any(" \t\n\f\r");
    const std::string_view value = html_.substr(at_, 1) == "=" ? take_value() : std::string_view();
    if (equals_ignoring_case(name, "hidden"))
        token_.hidden = true;
    else if (token_.style.empty() && equals_ignoring_case(name, "style"))
        token_.style = value;
    return true;
}

/// At "=".
std::string_view HtmlTokens::take_value() {
    ++at_;
    skip_any(" \t\n\f\r");
    const std::string_view quote = html_.substr(at_, 1);
    if (quote != "\"" && quote != "'")
        return take_until(" \t\n\f\r>");
    ++at_;
    const std::string_view value = take_until(quote);
    at_ = std::min(at_ + 1, html_.size());
    return value;
}

void HtmlTokens::skip_any(std::string_view bytes) {
    at_ = std::min(html_.find_first_not_of(bytes, at_), html_.size());
}

std::string_view HtmlTokens::take_until(std::string_view stops) {
    const std::size_t start = at_;
    at_ = std::min(html_.find_first_of(stops, at_), html_.size());
    return html_.substr(start, at_ - start);
}

std::string_view HtmlTokens::take_raw_text(std::string_view name) {
    const std::size_t start = at_;
    for (at_ = html_.find("</", at_); at_ != std::string_view::npos;
         at_ = html_.find("</", at_ + 2)) {
        const std::string_view rest = html_.substr(at_ + 2, name.size() + 1);
        if (equals_ignoring_case(rest.substr(0, name.size()), name) &&
            contains(" \t\n\f\r/>", rest.substr(name.size())))
            break;
    }
    at_ = std::min(at_, html_.size());
    return html_.substr(start, at_ - start);
}

} // namespace orvek
