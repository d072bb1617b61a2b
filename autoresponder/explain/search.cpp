#include "autoresponder/explain/search.h"

#include "autoresponder/deciding/trigger.h"
#include "autoresponder/incoming/parameter.h"
#include "autoresponder/incoming/text_part.h"
#include "base/text.h"
#include "reading/letters.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

namespace {

constexpr std::size_t most_places = 5;
constexpr std::size_t most_parts = 1000;
constexpr std::size_t most_nested = 16;
constexpr std::size_t most_text_around = 60;

bool continues_character(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::string_view last_of(std::string_view text) {
    std::size_t start = text.size() - std::min(text.size(), most_text_around);
    while (start < text.size() && start > 0 && continues_character(text[start]))
        ++start;
    return text.substr(start);
}

std::string_view first_of(std::string_view text) {
    std::size_t end = std::min(text.size(), most_text_around);
    while (end < text.size() && end > 0 && continues_character(text[end]))
        --end;
    return text.substr(0, end);
}

bool is_forwarded_mail(const DwEntity& entity) {
    const std::string type = to_lower(entity.Headers().ContentType().AsString().view());
    return type.starts_with("message/rfc822");
}

bool is_text(const DwEntity& entity) {
    return !entity.Headers().HasContentType() ||
           entity.Headers().ContentType().Type() == DwMime::kTypeText;
}

/// A multipart, or a forwarded mail, which is entered like one of a single part.
class Entered {
public:
    Entered(const DwEntity& entity, std::string number) : number_(std::move(number)) {
        if (is_forwarded_mail(entity)) {
            forwarded_ = DwMessage::NewMessage(entity.Body().AsString());
            forwarded_->Parse();
        } else {
            body_.emplace(entity.Body());
            parts_.emplace(*body_);
        }
    }
    Entered(const Entered&) = delete;
    Entered& operator=(const Entered&) = delete;

    /// Null behind the last.
    const DwEntity* next() {
        ++count_;
        if (forwarded_)
            return count_ == 1 ? forwarded_.get() : nullptr;
        return parts_->Next() ? &parts_->Part() : nullptr;
    }

    std::string number() const {
        return concat({number_, number_.empty() ? "" : ".", std::to_string(count_)});
    }

private:
    std::string number_;
    std::size_t count_ = 0;
    std::unique_ptr<DwMessage> forwarded_;
    std::optional<DwBody> body_;
    std::optional<DwBodyPartReader> parts_;
};

bool can_be_entered(const DwEntity& entity) {
    return is_forwarded_mail(entity) ||
           entity.Headers().ContentType().Type() == DwMime::kTypeMultipart;
}

std::string name_of(const DwEntity& entity, const std::string& number) {
    std::string type = to_lower(entity.Headers().ContentType().AsString().view());
    type = type.substr(0, type.find(';'));
    return concat({is_attachment(entity) ? "attachment, " : "",
                   number.empty() ? std::string("the mail itself") : "part " + number, " (",
                   type.empty() ? "text/plain" : type, ")"});
}

} // namespace

PlaceFacts place_in(std::string where, const char* unit, const Occurrence& occurrence) {
    const std::string_view text = occurrence.text;
    const std::string_view front = text.substr(0, occurrence.offset);
    const std::size_t start = front.rfind('\n') + 1; // 0 for none
    const std::string_view match = text.substr(occurrence.offset, occurrence.length);
    const std::string_view rest = text.substr(occurrence.offset + match.size());
    const auto lines_before = std::count(front.begin(), front.end(), '\n');
    return {std::move(where),
            unit,
            static_cast<std::size_t>(lines_before) + 1,
            std::string(last_of(front.substr(start))),
            std::string(match),
            std::string(first_of(rest.substr(0, rest.find('\n'))))};
}

void MailTexts::read() {
    orvek::ShownCharsets charsets;
    const auto add = [&](const DwEntity& entity, const std::string& number) {
        if (is_text(entity))
            texts_.push_back({name_of(entity, number),
                              paragraphs_of(shown_entity(entity, charsets), orvek::Case::counts),
                              own_.exists && number == own_.number});
    };
    read_ = true;
    const std::unique_ptr<DwMessage> message = DwMessage::NewMessage(message_);
    message->Parse();
    std::vector<std::unique_ptr<Entered>> entered;
    if (can_be_entered(*message))
        entered.push_back(std::make_unique<Entered>(*message, ""));
    else
        add(*message, "");
    for (std::size_t parts = 0; !entered.empty() && parts < most_parts; ++parts) {
        const DwEntity* const part = entered.back()->next();
        if (part == nullptr)
            entered.pop_back();
        else if (!can_be_entered(*part))
            add(*part, entered.back()->number());
        else if (entered.size() < most_nested)
            entered.push_back(std::make_unique<Entered>(*part, entered.back()->number()));
    }
}

std::vector<PlaceFacts> MailTexts::places_of(const std::string& trigger) {
    std::vector<PlaceFacts> places;
    const auto look_in = [&](const std::string& where, const char* unit, const std::string& text) {
        if (places.size() == most_places)
            return false;
        const std::optional<Occurrence> found = find_ignoring_case(text, trigger);
        if (found)
            places.push_back(place_in(where, unit, *found));
        return found.has_value();
    };
    if (!read_)
        read();
    look_in("subject", "line", mail_.subject);
    const bool in_own = look_in("text", "line", mail_.body.text());
    for (const Text& text : texts_) {
        if (!in_own || !text.is_own)
            look_in(text.where, "paragraph", text.paragraphs);
    }
    return places;
}
