#include "reading/html_text.h"

#include "base/text.h"
#include "reading/html_elements.h"
#include "reading/html_references.h"
#include "reading/html_tokens.h"

#include <algorithm>
#include <string_view>

namespace orvek {

namespace {

constexpr std::string_view white = " \t\n\f\r";

/// Takes the front of `text` up to `end`, which goes as well, or all of it.
std::string_view take_to(std::string_view& text, char end) {
    const std::string_view front = text.substr(0, text.find(end));
    text.remove_prefix(std::min(front.size() + 1, text.size()));
    return front;
}

/// The last value that is given for a property counts.
bool style_hides(std::string_view style) {
    bool displayed = true;
    bool visible = true;
    while (!style.empty()) {
        std::string_view declaration = take_to(style, ';');
        const std::string_view property = trim(take_to(declaration, ':'), white);
        const std::string_view value = trim(take_to(declaration, '!'), white);
        if (equals_ignoring_case(property, "display"))
            displayed = !equals_ignoring_case(value, "none");
        else if (equals_ignoring_case(property, "visibility"))
            visible = !equals_ignoring_case(value, "hidden");
    }
    return !displayed || !visible;
}

/// Writes the text over the HTML that it comes from, which no part of it is shorter than.
class Writer {
public:
    explicit Writer(std::string& whole) : whole_(whole) {}

    void text(std::string_view text, bool preformatted) {
        while (!text.empty()) {
            const char c = text.front();
            if (white.find(c) != std::string_view::npos) {
                if (preformatted && c == '\n')
                    new_line();
                else
                    blank_ = true;
                text.remove_prefix(1);
            } else if (c == '&') {
                text.remove_prefix(reference(text));
            } else {
                const std::size_t end = std::min(text.find_first_of(" \t\n\f\r&", 1), text.size());
                put(text.substr(0, end));
                text.remove_prefix(end);
            }
        }
    }

    /// White space, however much there is.
    void blank() { blank_ = true; }

    /// A line ends here, empty or not.
    void new_line() {
        put_byte('\n');
        line_is_empty_ = true;
        blank_ = false;
    }

    /// What follows stands in a line of its own.
    void end_line() {
        if (!line_is_empty_)
            new_line();
    }

    /// What follows is separated by an empty line.
    void end_paragraph() {
        end_line();
        apart_ = true;
    }

    std::size_t size() const { return size_; }

private:
    void put_byte(char c) { whole_[size_++] = c; }

    void put(std::string_view text) {
        if (apart_ && size_ > 0)
            put_byte('\n');
        if (blank_ && !line_is_empty_)
            put_byte(' ');
        apart_ = false;
        blank_ = false;
        line_is_empty_ = false;
        std::copy(text.begin(), text.end(), whole_.begin() + static_cast<std::ptrdiff_t>(size_));
        size_ += text.size();
    }

    std::size_t reference(std::string_view text) {
        resolved_.clear();
        const std::size_t length = resolve_reference(text, resolved_);
        put(length == 0 ? text.substr(0, 1) : std::string_view(resolved_));
        return std::max<std::size_t>(length, 1);
    }

    std::string& whole_;
    std::size_t size_ = 0;
    bool line_is_empty_ = true;
    bool blank_ = false;
    bool apart_ = false;
    std::string resolved_;
};

/// Goes through the tokens and tells the writer what to do.
class VisibleText {
public:
    explicit VisibleText(std::string& html) : tokens_(html), writer_(html) {}

    std::size_t write() {
        while (tokens_.next()) {
            if (tokens_.token().kind != HtmlToken::Kind::text)
                take_tag(tokens_.token());
            else if (depth_ == 0)
                writer_.text(tokens_.token().text, preformatted_ > 0);
        }
        return writer_.size();
    }

private:
    void take_tag(const HtmlToken& tag) {
        const unsigned traits = html_traits(tag.text);
        const bool starts = tag.kind == HtmlToken::Kind::start_tag;
        std::string_view raw;
        if (starts && (traits & html_raw) != 0)
            raw = tokens_.take_raw_text(tag.text);
        if (depth_ > 0 && is_within_hidden(tag, traits))
            return;
        if (starts && ((traits & html_unseen) != 0 || tag.hidden || style_hides(tag.style))) {
            hidden_ = tag.text;
            hidden_traits_ = traits;
            depth_ = (traits & (html_void | html_raw)) == 0 ? 1 : 0;
            return;
        }
        take_edge(traits);
        writer_.text(raw, true);
        if (starts)
            preformatted_ += (traits & html_preformatted) != 0;
        else if (preformatted_ > 0)
            preformatted_ -= (traits & html_preformatted) != 0;
    }

    /// What an element does to the line where it begins or ends.
    void take_edge(unsigned traits) {
        if ((traits & html_line_end) != 0)
            writer_.new_line();
        else if ((traits & html_margin) != 0)
            writer_.end_paragraph();
        else if ((traits & html_block) != 0)
            writer_.end_line();
        else if ((traits & html_cell) != 0)
            writer_.blank();
    }

    /// Whether a tag belongs to the hidden element; one that does not, ends it. Items may go
    /// without an end tag of their own, so it is the lists within them that are counted.
    bool is_within_hidden(const HtmlToken& tag, unsigned traits) {
        const bool starts = tag.kind == HtmlToken::Kind::start_tag;
        const bool own = equals_ignoring_case(tag.text, hidden_);
        if ((hidden_traits_ & html_item) == 0) {
            if (own)
                starts ? ++depth_ : --depth_;
            return true;
        }
        const bool is_paragraph = (hidden_traits_ & html_paragraph) != 0;
        if (depth_ == 1 && (own || (is_paragraph && (traits & html_block) != 0)))
            depth_ = 0;
        else if ((traits & html_list) != 0)
            starts ? ++depth_ : --depth_;
        return depth_ > 0 || (own && !starts);
    }

    HtmlTokens tokens_;
    Writer writer_;
    std::size_t preformatted_ = 0;
    /// Of the hidden element that is open: its name, its traits, and how many elements have to end
    /// before it has; 0 when none is.
    std::string hidden_;
    unsigned hidden_traits_ = 0;
    std::size_t depth_ = 0;
};

} // namespace

std::string html_text(std::string html) {
    const std::size_t size = VisibleText(html).write();
    html.resize(size);
    return html;
}

} // namespace orvek
