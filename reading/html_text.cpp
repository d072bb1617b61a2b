#include "reading/html_text.h"

#include "base/text.h"
#include "reading/html_elements.h"
#include "reading/html_references.h"
#include "reading/html_tokens.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace orvek {

namespace {

constexpr std::string_view white = " \t\n\f\r";

std::string resolve_references(std::string_view text) {
    std::string resolved;
    while (!text.empty()) {
        const std::size_t length = text.front() == '&' ? resolve_reference(text, resolved) : 0;
        if (length == 0)
            resolved += text.front();
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return resolved;
}

/// Takes the front of `text` up to `end`, which goes as well, or all of it.
std::string_view take_to(std::string_view& text, char end) {
    const std::string_view front = text.substr(0, text.find(end));
    text.remove_prefix(std::min(front.size() + 1, text.size()));
    return front;
}

/// A property of a style that can hide: the last value given counts, one that is important before
/// others.
class Hiding {
public:
    Hiding(std::string_view property, std::string_view hiding_value)
        : property_(property), hiding_value_(hiding_value) {}

    void take(std::string_view property, std::string_view value, bool important) {
        if (important < important_ || !equals_ignoring_case(property, property_))
            return;
        hides_ = equals_ignoring_case(value, hiding_value_);
        important_ = important;
    }

    bool hides() const { return hides_; }

private:
    std::string_view property_;
    std::string_view hiding_value_;
    bool hides_ = false;
    bool important_ = false;
};

bool style_hides(std::string_view style) {
    if (style.empty())
        return false;
    const std::string resolved = resolve_references(style);
    Hiding display("display", "none");
    Hiding visibility("visibility", "hidden");
    for (std::string_view rest = resolved; !rest.empty();) {
        std::string_view declaration = take_to(rest, ';');
        const std::string_view property = trim(take_to(declaration, ':'), white);
        const std::string_view value = trim(take_to(declaration, '!'), white);
        const bool important = !declaration.empty();
        display.take(property, value, important);
        visibility.take(property, value, important);
    }
    return display.hides() || visibility.hides();
}

/// The elements that are open, as far as they matter: what is hidden, and what an end tag ends.
class OpenElements {
public:
    bool is_hidden() const { return !open_.empty() && open_.back().hidden; }
    bool is_preformatted() const { return !open_.empty() && open_.back().preformatted; }

    void open(HtmlElement element, bool hidden) {
        if (open_.size() == most) {
            ++beyond_;
            return;
        }
        const auto here = static_cast<std::uint16_t>(open_.size() + 1);
        open_.push_back({element, hidden || is_hidden(),
                         element.is(html_preformatted) || is_preformatted(), last_[element.number],
                         around_});
        last_[element.number] = here;
        if (element.is(html_block | html_scope | html_table_part))
            around_.block = here;
        if (element.is(html_scope))
            around_.scope = here;
        if (element.is(html_list | html_scope))
            around_.list = here;
        if (element.is(html_scope) && element.is(html_ends_paragraph)) // a table, and nothing else
            around_.table = here;
    }

    /// An end tag: closes the innermost element of that kind and all within it, unless an element
    /// stands between that it cannot end. `closed` is told each that goes.
    template <typename Told>
    void close(HtmlElement element, Told closed) {
        if (beyond_ > 0)
            --beyond_;
        else
            close_down_to(element, barrier(element), closed);
    }

    /// The same for an element that ends where the next one like it begins.
    template <typename Told>
    void close_before_next(HtmlElement element, bool item, Told closed) {
        if (beyond_ == 0)
            close_down_to(element, item ? around_.list : barrier(element), closed);
    }

private:
    static constexpr std::size_t most = 1000;

    /// One more than the place of the innermost of a kind that is open; 0 for none.
    struct Innermost {
        std::uint16_t block = 0;
        std::uint16_t scope = 0;
        std::uint16_t list = 0;
        std::uint16_t table = 0;
    };

    struct Open {
        HtmlElement element;
        bool hidden;
        bool preformatted;
        std::uint16_t previous_like_it;
        Innermost around;
    };

    std::uint16_t barrier(HtmlElement element) const {
        if (element.is(html_table_part))
            return around_.table;
        return element.is(html_block | html_scope) ? around_.scope : around_.block;
    }

    template <typename Told>
    void close_down_to(HtmlElement element, std::uint16_t barrier, Told closed) {
        const std::uint16_t place = last_[element.number];
        if (place == 0 || place < barrier)
            return;
        while (open_.size() >= place) {
            const Open& innermost = open_.back();
            if (!innermost.hidden)
                closed(innermost.element);
            last_[innermost.element.number] = innermost.previous_like_it;
            around_ = innermost.around;
            open_.pop_back();
        }
    }

    std::vector<Open> open_;
    std::array<std::uint16_t, 256> last_ = {};
    Innermost around_;
    std::size_t beyond_ = 0;
};

/// Writes the text over the HTML that it comes from, which no part of it is shorter than.
class Writer {
public:
    explicit Writer(std::string& whole) : whole_(whole) {}

    void text(std::string_view text, bool references, bool preformatted) {
        while (!text.empty()) {
            const char c = text.front();
            if (white.find(c) != std::string_view::npos) {
                if (preformatted && c == '\n')
                    new_line();
                else
                    blank_ = true;
                text.remove_prefix(1);
            } else if (c == '&' && references) {
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
            const HtmlToken& token = tokens_.token();
            if (token.kind == HtmlToken::Kind::text)
                text(token.text, true);
            else if (token.kind == HtmlToken::Kind::start_tag)
                start(token);
            else
                end(token);
        }
        return writer_.size();
    }

private:
    void text(std::string_view text, bool references) {
        if (!open_.is_hidden())
            writer_.text(text, references, open_.is_preformatted());
    }

    /// What an element does to the line where it begins or ends.
    void edge(HtmlElement element) {
        if (element.is(html_margin))
            writer_.end_paragraph();
        else if (element.is(html_block))
            writer_.end_line();
        else if (element.is(html_cell))
            writer_.blank();
    }

    void start(const HtmlToken& token) {
        const std::string_view name = token.text;
        const HtmlElement element = find_html_element(name);
        close_what_ends_before(element, name);
        const bool hidden = token.hidden || style_hides(token.style);
        if (element.is(html_void)) {
            if (!hidden && !open_.is_hidden())
                equals_ignoring_case(name, "br") ? writer_.new_line() : edge(element);
            return;
        }
        open_.open(element, hidden || element.is(html_unseen));
        if (!open_.is_hidden())
            edge(element);
        if (equals_ignoring_case(name, "plaintext"))
            text(tokens_.take_rest(), false);
        else if (element.is(html_raw))
            text(tokens_.take_raw_text(name), element.is(html_references));
    }

    void end(const HtmlToken& token) {
        const HtmlElement element = find_html_element(token.text);
        // The end of a line or of a paragraph counts wherever it stands.
        if (!open_.is_hidden() && equals_ignoring_case(token.text, "br"))
            writer_.new_line();
        else if (!open_.is_hidden() && equals_ignoring_case(token.text, "p"))
            edge(element);
        open_.close(element, [this](HtmlElement closed) { edge(closed); });
    }

    void close_before(std::string_view name, bool item = false) {
        open_.close_before_next(find_html_element(name), item,
                                [this](HtmlElement closed) { edge(closed); });
    }

    /// End tags that nobody need write.
    void close_what_ends_before(HtmlElement next, std::string_view name) {
        if (next.is(html_ends_paragraph))
            close_before("p");
        if (next.is(html_table_part) && !next.is(html_scope)) // rows and groups of them
            close_before(equals_ignoring_case(name, "tr") ? "tr" : "tbody");
        if (next.is(html_cell)) {
            close_before("td");
            close_before("th");
        } else if (equals_ignoring_case(name, "li")) {
            close_before("li", true);
        } else if (equals_ignoring_case(name, "dd") || equals_ignoring_case(name, "dt")) {
            close_before("dd", true);
            close_before("dt", true);
        } else if (equals_ignoring_case(name, "option")) {
            close_before("option");
        }
    }

    HtmlTokens tokens_;
    Writer writer_;
    OpenElements open_;
};

} // namespace

std::string html_text(std::string html) {
    const std::size_t size = VisibleText(html).write();
    html.resize(size);
    return html;
}

} // namespace orvek
