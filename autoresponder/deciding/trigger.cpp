#include "autoresponder/deciding/trigger.h"

#include "autoresponder/incoming/text_part.h"
#include "base/text.h"
#include "reading/letters.h"

#include <bit>

namespace {

bool holds(std::string_view text, const std::string& letters) {
    return contains(orvek::letters_of_line(text, orvek::Case::ignored), letters);
}

/// The shortest part of `line`, which holds `letters`, that still does: the first one.
std::string_view narrowed(std::string_view line, const std::string& letters) {
    // A match of no more than half the line lies within one of these.
    for (;;) {
        const std::size_t most = line.size() - line.size() / 4;
        const std::string_view front = line.substr(0, most);
        const std::string_view back = line.substr(line.size() - most);
        const bool in_front = holds(front, letters);
        if (most == line.size() || (!in_front && !holds(back, letters)))
            break;
        line = in_front ? front : back;
    }
    for (const bool from_front : {false, true}) {
        std::size_t cut = 0;
        for (std::size_t step = std::bit_floor(line.size()); step > 0; step /= 2) {
            const std::size_t more = cut + step;
            if (more <= line.size() &&
                holds(from_front ? line.substr(more) : line.substr(0, line.size() - more), letters))
                cut = more;
        }
        line = from_front ? line.substr(cut) : line.substr(0, line.size() - cut);
    }
    return line;
}

} // namespace

std::optional<Occurrence> find_ignoring_case(std::string_view text, std::string_view trigger) {
    const std::string letters = orvek::letters_of_line(trigger, orvek::Case::ignored);
    std::string_view rest = text;
    std::string_view line;
    bool more = true;
    while (more) {
        more = take_line(rest, line);
        if (!letters.empty() && holds(line, letters)) {
            const std::string_view place = narrowed(line, letters);
            return Occurrence{text, static_cast<std::size_t>(place.data() - text.data()),
                              place.size()};
        }
    }
    return std::nullopt;
}

TriggerSearch::TriggerSearch(const Mail_content& mail, const Policy& policy)
    : mail_(mail), policy_(policy) {
    if (policy.read_as_shown)
        subject_ = orvek::letters_of_line(mail.subject, case_of(policy));
}

std::optional<Occurrence> TriggerSearch::find(const ResponderRule& rule) const {
    const bool in_subject = rule.key_where == "subj";
    if (!policy_.read_as_shown || (!in_subject && rule.key_where != "body"))
        return find_trigger(rule, mail_);
    const std::string trigger = orvek::letters_of_line(rule.keystr, case_of(policy_));
    if (trigger.empty() && !rule.keystr.empty())
        return std::nullopt;
    return in_subject ? occurrence_in(subject_, offset_of(subject_, trigger), trigger)
                      : occurrence_in(mail_.body.text(), mail_.body.find(trigger), trigger);
}

std::optional<std::string_view> TriggerSearch::text_for(const ResponderRule& rule) const {
    if (rule.key_where == "subj")
        return policy_.read_as_shown ? subject_ : mail_.subject;
    return rule.key_where == "body" ? std::optional<std::string_view>(mail_.body.text())
                                    : std::nullopt;
}
