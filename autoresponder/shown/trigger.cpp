#include "autoresponder/shown/trigger.h"

#include "base/text.h"
#include "codecs/letters.h"

orvek::Case case_of(const Policy& policy) {
    return policy.ignore_case ? orvek::Case::ignored : orvek::Case::counts;
}

TriggerSearch::TriggerSearch(const Mail_content& mail, const Policy& policy)
    : mail_(mail), policy_(policy) {
    if (policy.read_as_shown)
        subject_ = orvek::letters_of_line(mail.subject, case_of(policy));
}

bool TriggerSearch::finds(const ResponderRule& rule) const {
    const bool in_subject = rule.key_where == "subj";
    if (!policy_.read_as_shown || (!in_subject && rule.key_where != "body"))
        return trigger_matches(rule, mail_);
    const std::string trigger = orvek::letters_of_line(rule.keystr, case_of(policy_));
    if (trigger.empty() && !rule.keystr.empty())
        return false;
    return in_subject ? contains(subject_, trigger) : mail_.body.any_contains(trigger);
}
