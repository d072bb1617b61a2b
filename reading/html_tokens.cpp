#include "reading/html_tokens.h"

#include "base/text.h"

#include <algorithm>

namespace orvek {

namespace {

constexpr std::string_view white = " \t\n\f\r";

} // namespace

bool HtmlTokens::next() {
    while (at_ < html_.size()) {
        if (starts_markup(at_)) {
            if (take_markup())
                return true;
            continue;
        }
        std::size_t end = at_;
        do
            end = std::min(html_.find('<', end + 1), html_.size());
        while (end < html_.size() && !starts_markup(end));
        token_ = {HtmlToken::Kind::text, html_.substr(at_, end - at_), false, {}};
        at_ = end;
        return true;
    }
    return false;
}

bool HtmlTokens::starts_markup(std::size_t at) const {
    if (html_[at] != '<' || at + 1 == html_.size())
        return false;
    const char next = html_[at + 1];
    return is_letter(next) || next == '!' || next == '?' || (next == '/' && at + 2 < html_.size());
}

/// At "<": takes a tag, or passes over what is none. Returns whether it was one.
bool HtmlTokens::take_markup() {
    const char next = html_[at_ + 1];
    if (is_letter(next)) {
        token_ = {HtmlToken::Kind::start_tag, {}, false, {}};
        return take_tag(at_ + 1);
    }
    if (next == '/' && is_letter(html_[at_ + 2])) {
        token_ = {HtmlToken::Kind::end_tag, {}, false, {}};
        return take_tag(at_ + 2);
    }
    if (html_.substr(at_, 4) == "<!--") {
        skip_comment();
        return false;
    }
    at_ = std::min(html_.find('>', at_), html_.size() - 1) + 1;
    return false;
}

/// "<!-->" and "<!--->" are whole comments; one without an end reaches to the end of the text.
void HtmlTokens::skip_comment() {
    at_ += 4;
    if (html_.substr(at_, 1) == ">" || html_.substr(at_, 2) == "->") {
        at_ = html_.find('>', at_) + 1;
        return;
    }
    for (at_ = html_.find("--", at_); at_ != std::string_view::npos; at_ = html_.find("--", at_)) {
        const std::string_view rest = html_.substr(at_ + 2, 2);
        if (rest.substr(0, 1) == ">" || rest == "!>") {
            at_ += rest.front() == '>' ? std::size_t{3} : std::size_t{4};
            return;
        }
        ++at_;
    }
    at_ = html_.size();
}

bool HtmlTokens::take_tag(std::size_t name) {
    at_ = name;
    token_.text = take_until(" \t\n\f\r/>");
    has_style_ = false;
    while (take_attribute()) {
    }
    if (at_ == html_.size())
        return false;
    ++at_; // ">"
    return true;
}

/// False at the ">" that ends the tag, and at the end of the text.
bool HtmlTokens::take_attribute() {
    skip_white("/");
    if (at_ == html_.size() || html_[at_] == '>')
        return false;
    const std::size_t start = at_++;
    take_until(" \t\n\f\r/>=");
    const std::string_view name = html_.substr(start, at_ - start);
    skip_white();
    std::string_view value;
    if (at_ < html_.size() && html_[at_] == '=') {
        ++at_;
        value = take_value();
    }
    if (equals_ignoring_case(name, "hidden")) {
        token_.hidden = true;
    } else if (!has_style_ && equals_ignoring_case(name, "style")) {
        token_.style = value;
        has_style_ = true;
    }
    return true;
}

std::string_view HtmlTokens::take_value() {
    skip_white();
    if (at_ == html_.size())
        return {};
    const char quote = html_[at_];
    if (quote != '"' && quote != '\'')
        return take_until(" \t\n\f\r>");
    ++at_;
    const std::string_view value = take_until({&quote, 1});
    at_ = std::min(at_ + 1, html_.size());
    return value;
}

void HtmlTokens::skip_white(std::string_view more) {
    while (at_ < html_.size() && (white.find(html_[at_]) != std::string_view::npos ||
                                  more.find(html_[at_]) != std::string_view::npos))
        ++at_;
}

std::string_view HtmlTokens::take_until(std::string_view stops) {
    const std::size_t start = at_;
    at_ = std::min(html_.find_first_of(stops, at_), html_.size());
    return html_.substr(start, at_ - start);
}

std::string_view HtmlTokens::take_raw_text(std::string_view name) {
    const std::size_t start = at_;
    for (std::size_t end = html_.find("</", at_); end != std::string_view::npos;
         end = html_.find("</", end + 2)) {
        const std::string_view rest = html_.substr(end + 2, name.size() + 1);
        if (equals_ignoring_case(rest.substr(0, name.size()), name) &&
            (white.find(rest.back()) != std::string_view::npos || rest.back() == '/' ||
             rest.back() == '>')) {
            at_ = end;
            return html_.substr(start, end - start);
        }
    }
    return take_rest();
}

std::string_view HtmlTokens::take_rest() {
    const std::string_view rest = html_.substr(at_);
    at_ = html_.size();
    return rest;
}

} // namespace orvek
