#include "autoresponder/explain/search.h"

#include "autoresponder/deciding/trigger.h"
#include "autoresponder/incoming/parameter.h"
#include "autoresponder/incoming/parts.h"
#include "autoresponder/incoming/text_part.h"
#include "autoresponder/run/in_cell.h"
#include "base/report.h"
#include "base/text.h"
#include "codecs/utf8.h"
#include "reading/letters.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

namespace {

constexpr std::size_t most_places = 5;
constexpr std::size_t most_text_around = 60;

std::string_view last_of(std::string_view text) {
    std::size_t start = text.size() - std::min(text.size(), most_text_around);
    while (start < text.size() && start > 0 && orvek::continues_character(text[start]))
        ++start;
    return text.substr(start);
}

std::string_view first_of(std::string_view text) {
    std::size_t end = std::min(text.size(), most_text_around);
    while (end < text.size() && end > 0 && orvek::continues_character(text[end]))
        --end;
    return text.substr(0, end);
}

bool is_text(const DwEntity& entity) {
    return !entity.Headers().HasContentType() ||
           entity.Headers().ContentType().Type() == DwMime::kTypeText;
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

namespace {

/// In the cell: where each text stands, what number its part has, the text.
cell::Texts texts_of(const DwString& mail) {
    cell::Texts texts;
    orvek::ShownCharsets charsets;
    const std::unique_ptr<DwMessage> message = DwMessage::NewMessage(mail);
    message->Parse();
    for (PartWalk walk(*message, PartWalk::Over::all); walk.next();) {
        const DwEntity& part = walk.part();
        if (!is_text(part))
            continue;
        texts.push_back(name_of(part, walk.number()));
        texts.push_back(walk.number());
        texts.push_back(paragraphs_of(shown_entity(part, charsets), orvek::Case::counts));
    }
    return texts;
}

} // namespace

void MailTexts::read() {
    read_ = true;
    std::string why;
    std::optional<cell::Texts> told =
        do_in_cell([this] { return texts_of(message_); }, message_.size(), why);
    if (!told)
        return report({"autoresponder: The mail cannot be read: ", why});
    for (std::size_t i = 0; i + 2 < told->size(); i += 3)
        texts_.push_back({std::move(told->at(i)), std::move(told->at(i + 2)),
                          reading_.text.exists && told->at(i + 1) == reading_.text.number});
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
    look_in("subject", "line", reading_.mail.subject);
    const bool in_own = look_in("text", "line", reading_.mail.body.text());
    for (const Text& text : texts_) {
        if (!in_own || !text.is_own)
            look_in(text.where, "paragraph", text.paragraphs);
    }
    return places;
}
