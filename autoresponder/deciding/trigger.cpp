#include "autoresponder/deciding/trigger.h"

#include "autoresponder/incoming/text_part.h"
#include "base/text.h"
#include "reading/letters.h"

std::optional<TriggerFacts> find_trigger(const ResponderRule& rule, const Mail_content& mail,
                                         const Policy& policy) {
    const std::optional<std::string_view> text = trigger_text(rule, mail, policy);
    if (!text)
        return TriggerFacts();
    const std::string trigger =
        policy.read_as_shown ? orvek::letters_of_line(rule.keystr, case_of(policy)) : rule.keystr;
    const bool is_unseen = trigger.empty() && !rule.keystr.empty();
    const std::size_t offset = offset_of(*text, trigger);
    if (is_unseen || offset == std::string_view::npos ||
        (rule.key_where == "body" && contains(trigger, "\n")))
        return std::nullopt;
    return TriggerFacts{offset, trigger.size()};
}

std::optional<std::string_view> trigger_text(const ResponderRule& rule, const Mail_content& mail,
                                             const Policy& policy) {
    if (rule.key_where == "subj")
        return policy.read_as_shown ? mail.subject_letters : mail.subject;
    return rule.key_where == "body" ? std::optional<std::string_view>(mail.body) : std::nullopt;
}
