#include "mimelib/address.h"

#include "base/text.h"
#include "mimelib/field_text.h"

#include <algorithm>

using mimelib::Scanner;

namespace {

constexpr std::string_view specials = "()<>[]:;@\\,.\"";

/// Puts an addr-spec together from the pieces of an address as they come. The first piece that
/// cannot be one's spoils it, and nothing after that matters.
class AddrSpec {
public:
    /// Takes one piece, which means the same within and without angle brackets.
    void take(Scanner& field) {
        const char c = field.peek();
        if (c == '"')
            quoted(field.take_quoted());
        else if (c == '[')
            literal(field);
        else if (specials.find(c) == std::string_view::npos)
            atom(field);
        else if (field.take() == '.')
            dot();
        else if (c == '@')
            at();
        else
            spoil();
    }

    void spoil() { spoiled_ = true; }

    bool is_valid() const { return !spoiled_ && has_name_[false] && has_name_[true]; }
    const std::string& local() const { return local_; }
    const std::string& domain() const { return domain_; }

private:
    /// One without an end has no domain behind it, and an empty one is no name by itself.
    void quoted(std::string_view content) {
        word(mimelib::local_part(content), !in_domain_, !content.empty());
    }

    /// With its brackets and without white space.
    void literal(Scanner& field) {
        std::string text;
        bool closed = false;
        while (!field.at_end() && !closed) {
            const char c = field.take();
            closed = c == ']';
            if (!mimelib::is_white(c))
                text += c;
        }
        const std::string_view inside = std::string_view(text).substr(1, text.size() - 2);
        word(text, closed && !inside.empty() && in_domain_ && domain_.empty() &&
                       inside.find_first_of("()<>[];@\\,\"") == std::string_view::npos);
        after_literal_ = true;
    }

    /// Within an encoded word specials mean nothing, so it spoils what it stands in where it has
    /// any. What follows it without a blank makes one atom with it.
    void atom(Scanner& field) {
        const std::string_view encoded = field.take_encoded_word(specials);
        word(encoded.empty() ? field.take_word(specials) : encoded,
             encoded.find_first_of(specials) == std::string_view::npos);
    }

    /// A domain has no empty label, though it may end in a dot. Local parts get away with more.
    void dot() {
        spoiled_ |= after_literal_ || (in_domain_ && !after_word_);
        (in_domain_ ? domain_ : local_) += '.';
        after_word_ = false;
    }

    void at() {
        spoiled_ |= in_domain_;
        in_domain_ = true;
        after_word_ = false;
    }

    /// Two words need a dot between them.
    void word(std::string_view text, bool possible, bool is_name = true) {
        spoiled_ |= !possible || after_word_ || std::any_of(text.begin(), text.end(), is_control);
        after_word_ = true;
        has_name_[in_domain_] |= is_name;
        if (!spoiled_)
            (in_domain_ ? domain_ : local_) += text;
    }

    std::string local_;
    std::string domain_;
    bool has_name_[2] = {false, false};
    bool in_domain_ = false;
    bool after_word_ = false;
    bool after_literal_ = false;
    bool spoiled_ = false;
};

/// Behind "<": a source route, which ends at a colon and plays no part.
void skip_route(Scanner& field, AddrSpec& spec) {
    if (!field.skip_white() || field.peek() != '@')
        return;
    while (field.skip_white() && field.peek() != '>') {
        if (field.take() == ':')
            return;
    }
    spec.spoil();
}

/// Behind "<": the address up to ">", which may be missing at the end of the field.
AddrSpec take_bracketed(Scanner& field) {
    AddrSpec spec;
    skip_route(field, spec);
    while (field.skip_white() && field.peek() != '>' && field.peek() != ',')
        spec.take(field);
    return spec;
}

/// Everything up to the next separator outside comments and quotes.
void skip_element(Scanner& field) {
    AddrSpec rubbish;
    rubbish.spoil();
    while (field.skip_white() && field.peek() != ',' && field.peek() != ';')
        rubbish.take(field);
}

/// Behind the colon of a group: everything up to its end.
void skip_group(Scanner& field) {
    do
        skip_element(field);
    while (!field.at_end() && field.take() != ';');
}

/// Takes the next element off the front of the field: a mailbox, or a group without a value. False
/// when there is none.
bool take_element(Scanner& field, bool into_groups, std::optional<AddrSpec>& mailbox) {
    bool empty = true;
    AddrSpec& spec = mailbox.emplace();
    while (field.skip_white()) {
        const char c = field.peek();
        if (c == ',' || c == ';') {
            field.take();
            if (!empty)
                return true;
        } else if (c == '<') {
            field.take();
            spec = take_bracketed(field);
            skip_element(field);
            return true;
        } else if (c == ':') {
            field.take();
            if (!into_groups) {
                skip_group(field);
                mailbox.reset();
                return true;
            }
            spec = {};
            empty = true;
        } else {
            empty = false;
            spec.take(field);
        }
    }
    return !empty;
}

} // namespace

std::optional<DwAddress> DwAddress::first_of(const DwString& text, bool into_groups) {
    Scanner field(text.view());
    std::optional<AddrSpec> mailbox;
    if (!take_element(field, into_groups, mailbox))
        return std::nullopt;
    DwAddress address;
    address.group_ = !mailbox;
    if (mailbox && mailbox->is_valid()) {
        address.local_part_ = DwString(mailbox->local());
        address.domain_ = DwString(mailbox->domain());
    }
    address.rest_ = text.substr(field.position());
    address.into_groups_ = into_groups;
    return address;
}

std::optional<DwMailbox> DwMailbox::first_mailbox(std::optional<DwAddress> address) {
    while (address && address->IsGroup())
        address = address->Next();
    if (!address)
        return std::nullopt;
    return DwMailbox(*address);
}
