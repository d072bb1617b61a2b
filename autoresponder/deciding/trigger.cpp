#include "autoresponder/deciding/trigger.h"

#include "autoresponder/incoming/text_part.h"
#include "base/text.h"
#include "reading/letters.h"

std::optional<Occurrence> find_trigger(const ResponderRule& rule, const Mail_content& mail,
                                       const Policy& policy) {
    const bool in_subject = rule.key_where == "subj";
    if (!policy.read_as_shown || (!in_subject && rule.key_where != "body"))
        return find_trigger(rule, mail);
    const std::string trigger = orvek::letters_of_line(rule.keystr, case_of(policy));
    if (trigger.empty() && !rule.keystr.empty())
        return std::nullopt;
    const std::string& subject = mail.subject_letters;
    return in_subject ? occurrence_in(subject, offset_of(subject, trigger), trigger)
                      : occurrence_in(mail.body.text(), mail.body.find(trigger), trigger);
}

std::optional<std::string_view> trigger_text(const ResponderRule& rule, const Mail_content& mail,
                                             const Policy& policy) {
    if (rule.key_where == "subj")
        return policy.read_as_shown ? mail.subject_letters : mail.subject;
    return rule.key_where == "body" ? std::optional<std::string_view>(mail.body.text())
                                    : std::nullopt;
}
