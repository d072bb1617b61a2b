#include "autoresponder/explain/search.h"

#include "autoresponder/explain/screen.h"
#include "autoresponder/incoming/parameter.h"
#include "autoresponder/incoming/parts.h"
#include "autoresponder/incoming/text_part.h"
#include "autoresponder/run/in_cell.h"
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
constexpr std::size_t most_of_match = 200;

std::string_view last_of(std::string_view text) {
    std::size_t start = text.size() - std::min(text.size(), most_text_around);
    while (start < text.size() && start > 0 && orvek::continues_character(text[start]))
        ++start;
    return text.substr(start);
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
                   type.empty() ? "text/plain" : shortened(type, most_text_around), ")"});
}

std::string letters_of(std::string_view text) {
    return orvek::letters_of_line(text, orvek::Case::ignored);
}

std::string letters_of_lines(std::string_view text) {
    std::string letters;
    letters.reserve(text.size());
    std::string_view line;
    while (take_line(text, line))
        letters.append(letters_of(line)).append("\n");
    return letters.append(letters_of(line));
}

/// In the cell: where each text stands, what number its part has, the text.
cell::Texts texts_of_parts(const DwString& mail) {
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

std::optional<PlaceFacts> place_of(const std::string& trigger, const std::string& letters,
                                   const MailText& text) {
    const std::size_t exact = offset_of(text.text, trigger);
    if (exact != std::string::npos)
        return place_in(text.where, text.unit, text.text, {exact, trigger.size()});
    const std::size_t read = offset_of(text.letters, letters);
    if (read == std::string::npos || letters.empty())
        return std::nullopt;
    PlaceFacts place = place_in(text.where, text.unit, text.letters, {read, letters.size()});
    place.is_exact = false;
    return place;
}

} // namespace

PlaceFacts place_in(std::string where, const char* unit, std::string_view text,
                    const TriggerFacts& found) {
    const std::string_view front = text.substr(0, found.offset);
    const std::size_t start = front.rfind('\n') + 1; // 0 for none
    const std::string_view match = text.substr(found.offset, found.length);
    const std::string_view rest = text.substr(found.offset + match.size());
    const auto lines_before = std::count(front.begin(), front.end(), '\n');
    return {std::move(where),
            unit,
            static_cast<std::size_t>(lines_before) + 1,
            std::string(last_of(front.substr(start))),
            shortened(match, most_of_match),
            std::string(orvek::without_cut_character(
                rest.substr(0, std::min(rest.find('\n'), most_text_around))))};
}

std::vector<MailText> texts_of(const DwString& mail, const Reading& reading) {
    std::vector<MailText> texts = {{"subject", "line", reading.mail.subject, false, {}},
                                   {"text", "line", reading.mail.body, true, {}}};
    std::string why_not;
    std::optional<cell::Texts> told =
        do_in_cell([&] { return texts_of_parts(mail); }, mail.size(), why_not);
    for (std::size_t i = 0; told && i + 2 < told->size(); i += 3)
        texts.push_back({std::move(told->at(i)),
                         "paragraph",
                         std::move(told->at(i + 2)),
                         reading.text.exists && told->at(i + 1) == reading.text.number,
                         {}});
    for (MailText& text : texts)
        text.letters = letters_of_lines(text.text);
    return texts;
}

std::vector<PlaceFacts> places_of(const std::string& trigger, const std::vector<MailText>& texts) {
    const std::string letters = letters_of(trigger);
    std::vector<PlaceFacts> places;
    bool in_own = false;
    for (const MailText& text : texts) {
        if (places.size() == most_places || (text.is_own && in_own))
            continue;
        if (const std::optional<PlaceFacts> found = place_of(trigger, letters, text)) {
            places.push_back(*found);
            in_own = in_own || text.is_own;
        }
    }
    return places;
}
