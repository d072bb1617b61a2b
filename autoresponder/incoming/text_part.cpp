#include "autoresponder/incoming/text_part.h"

#include "autoresponder/incoming/intake.h"
#include "autoresponder/incoming/lines.h"
#include "autoresponder/incoming/parameter.h"
#include "base/text.h"
#include "reading/html_text.h"
#include "reading/letters.h"
#include "reading/shown_charset.h"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t most_parts = 10'000;
constexpr std::size_t most_nested = 16;

/// What a part is to a mail program. In alternatives the first three come in this order.
enum class Kind { plain, html_or_multipart, other_text, nothing };

bool is_multipart(const DwEntity& entity) {
    return entity.Headers().HasContentType() &&
           entity.Headers().ContentType().Type() == DwMime::kTypeMultipart;
}

Kind kind_of(const DwEntity& entity) {
    const DwHeaders& headers = entity.Headers();
    if (is_attachment(entity))
        return Kind::nothing;
    if (!headers.HasContentType() || headers.ContentType().AsString().empty())
        return Kind::plain;
    const DwMediaType& type = headers.ContentType();
    if (type.Type() == DwMime::kTypeMultipart)
        return type.HasSubtype("digest") ? Kind::nothing : Kind::html_or_multipart;
    if (type.Type() != DwMime::kTypeText)
        return Kind::nothing;
    if (type.HasSubtype("html"))
        return Kind::html_or_multipart;
    return type.HasSubtype("plain") || type.HasSubtype("") ? Kind::plain : Kind::other_text;
}

/// Blanks at the end of a line of quoted-printable come from those who passed the mail on (RFC 2045
/// section 6.7, rule 3).
DwString without_blank_line_ends(const DwString& text) {
    std::string kept;
    kept.reserve(text.size());
    std::string_view rest = text.view();
    std::string_view line;
    for (bool more = true; more;) {
        more = take_line(rest, line);
        const bool carriage_return = !line.empty() && line.back() == '\r';
        line = line.substr(0, line.find_last_not_of(" \t\r") + 1);
        kept.append(line).append(carriage_return ? "\r" : "").append(more ? "\n" : "");
    }
    return DwString(std::move(kept));
}

DwString decode(const DwEntity& entity) {
    DwString decoded;
    if (entity.Headers().ContentTransferEncoding().AsEnum() == DwMime::kCteQuotedPrintable)
        DwDecodeQuotedPrintable(without_blank_line_ends(entity.Body().AsString()), decoded);
    else
        DecodeBody(entity, decoded);
    return decoded;
}

LineFormat line_format(const DwMediaType& type) {
    return {equals_ignoring_case(shown_parameter(type, "format"), "flowed"),
            equals_ignoring_case(shown_parameter(type, "delsp"), "yes")};
}

/// None when there is nothing to see.
std::optional<PartText> text_of(const DwEntity& entity, std::string number,
                                orvek::ShownCharsets& charsets) {
    PartText shown = shown_entity(entity, charsets);
    if (!orvek::shows_text(shown.text))
        return std::nullopt;
    shown.place = place_of(entity, std::move(number));
    return shown;
}

/// A multipart that is being gone through.
class Multipart {
public:
    explicit Multipart(const DwEntity& entity)
        : alternatives_(entity.Headers().ContentType().HasSubtype("alternative")),
          body_(entity.Body().AsString(), boundary_of(entity)), parts_(std::in_place, body_) {}
    Multipart(const Multipart&) = delete;
    Multipart& operator=(const Multipart&) = delete;

    /// Moves to the next part that may give a text; false behind the last. `left` counts down.
    bool next(std::size_t& left) {
        for (; turn_ != Kind::nothing; turn_ = next_turn()) {
            while (left > 0 && parts_->Next()) {
                --left;
                ++number_;
                const Kind kind = kind_of(parts_->Part());
                if (kind != Kind::nothing && (!alternatives_ || kind == turn_))
                    return true;
            }
            parts_.emplace(body_);
            number_ = 0;
        }
        return false;
    }

    const DwEntity& part() const { return parts_->Part(); }
    std::size_t number() const { return number_; }

private:
    static DwString boundary_of(const DwEntity& entity) {
        std::string boundary = shown_parameter(entity.Headers().ContentType(), "boundary");
        boundary.erase(boundary.find_last_not_of(" \t") + 1);
        return DwString(std::move(boundary));
    }

    Kind next_turn() const {
        if (!alternatives_ || turn_ == Kind::other_text)
            return Kind::nothing;
        return turn_ == Kind::plain ? Kind::html_or_multipart : Kind::other_text;
    }

    bool alternatives_;
    Kind turn_ = Kind::plain;
    DwBody body_;
    std::optional<DwBodyPartReader> parts_;
    std::size_t number_ = 0; // of the part
};

std::string number_of_part(const std::vector<std::unique_ptr<Multipart>>& entered) {
    std::string number;
    for (const std::unique_ptr<Multipart>& multipart : entered)
        number.append(number.empty() ? "" : ".").append(std::to_string(multipart->number()));
    return number;
}

std::optional<PartText> text_within(const DwEntity& multipart, orvek::ShownCharsets& charsets) {
    std::vector<std::unique_ptr<Multipart>> entered;
    entered.push_back(std::make_unique<Multipart>(multipart));
    std::size_t left = most_parts;
    while (!entered.empty()) {
        if (!entered.back()->next(left)) {
            entered.pop_back();
        } else if (is_multipart(entered.back()->part())) {
            if (entered.size() < most_nested)
                entered.push_back(std::make_unique<Multipart>(entered.back()->part()));
        } else if (std::optional<PartText> text =
                       text_of(entered.back()->part(), number_of_part(entered), charsets)) {
            return text;
        }
    }
    return std::nullopt;
}

} // namespace

PartPlace place_of(const DwEntity& entity, std::string number) {
    const DwHeaders& headers = entity.Headers();
    return {std::move(number), headers.ContentType().AsString().str(),
            headers.ContentTransferEncoding().AsString().str(), true};
}

PartText shown_entity(const DwEntity& entity, orvek::ShownCharsets& charsets) {
    const DwMediaType& type = entity.Headers().ContentType();
    PartText shown;
    shown.charset = until_nul(shown_parameter(type, "charset"));
    shown.text = charsets.to_utf8(decode(entity).view(), shown.charset);
    if (type.HasSubtype("html"))
        shown.text = orvek::html_text(std::move(shown.text));
    else
        shown.lines = line_format(type);
    return shown;
}

PartText shown_text(const DwMessage& message) {
    std::optional<PartText> text;
    orvek::ShownCharsets charsets;
    if (kind_of(message) != Kind::nothing)
        text =
            is_multipart(message) ? text_within(message, charsets) : text_of(message, {}, charsets);
    if (!text)
        text.emplace();
    if (text->charset.empty())
        text->charset = "US-ASCII";
    return std::move(*text);
}

orvek::Case case_of(const Policy& policy) {
    return policy.ignore_case ? orvek::Case::ignored : orvek::Case::counts;
}

std::string paragraphs_of(const PartText& part, orvek::Case letters) {
    orvek::Paragraphs paragraphs(letters, part.text.size());
    if (part.lines)
        add_shown_lines(part.text, *part.lines, paragraphs);
    else
        paragraphs.add(part.text);
    return paragraphs.finish();
}
