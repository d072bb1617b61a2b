#include "autoresponder/deciding/trigger.h"

#include "autoresponder/incoming/text_part.h"
#include "base/text.h"
#include "reading/letters.h"

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
