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
#include <bit>
#include <memory>
#include <optional>
#include <utility>

namespace {

constexpr std::size_t most_places = 5;
constexpr std::size_t most_text_around = 60;
constexpr std::size_t most_of_match = 200;
constexpr std::size_t most_folded_again = 65536;

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

/// The shortest front of `line`, in whole characters, that has so many bytes of letters.
std::size_t front_with(std::size_t letters, std::string_view line) {
    std::size_t too_short = 0;
    for (std::size_t step = std::bit_floor(line.size()); step > 0; step /= 2) {
        const std::string_view front = line.substr(0, too_short + step);
        if (too_short + step <= line.size() &&
            letters_of(orvek::without_cut_character(front)).size() < letters)
            too_short += step;
    }
    return std::min(too_short + 1, line.size());
}

/// The place in the text of what is found in its letters; in the line's own spelling, unless it is
/// so long that to fold parts of it again would take its time.
PlaceFacts place_in_own_spelling(const MailText& text, const TriggerFacts& found) {
    const std::string_view front = std::string_view(text.letters).substr(0, found.offset);
    const std::size_t in_line = front.size() - (front.rfind('\n') + 1);
    std::string_view rest = text.text;
    std::string_view line;
    for (auto lines = std::count(front.begin(), front.end(), '\n'); lines >= 0; --lines)
        take_line(rest, line);
    if (line.size() > most_folded_again)
        return place_in(text.where, text.unit, text.letters, found);
    std::size_t start = front_with(in_line + 1, line) - 1;
    while (start > 0 && orvek::continues_character(line[start]))
        --start;
    const std::size_t end = front_with(in_line + found.length, line);
    const auto before = static_cast<std::size_t>(line.data() - text.text.data());
    return place_in(text.where, text.unit, text.text, {before + start, end - start});
}

std::optional<PlaceFacts> place_of(const std::string& trigger, const std::string& letters,
                                   const MailText& text) {
    const std::size_t exact = offset_of(text.text, trigger);
    if (exact != std::string::npos)
        return place_in(text.where, text.unit, text.text, {exact, trigger.size()});
    const std::size_t read = offset_of(text.letters, letters);
    if (read == std::string::npos || letters.empty())
        return std::nullopt;
    return place_in_own_spelling(text, {read, letters.size()});
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
