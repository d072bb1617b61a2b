#include "autoresponder/explain/writers.h"

#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

Json of_place(const PlaceFacts& place) {
    return {{"where", place.where},   {"unit", place.unit},   {"number", place.number},
            {"before", place.before}, {"match", place.match}, {"after", place.after}};
}

Json of_mail(const MailFacts& mail) {
    if (!mail.given)
        return nullptr;
    return {{"sender", mail.sender},
            {"sender_field", mail.sender_field},
            {"subject", mail.subject},
            {"date", mail.date},
            {"text",
             {{"exists", mail.text.exists},
              {"part", mail.text.number},
              {"type", mail.text.type},
              {"encoding", mail.text.encoding},
              {"charset", mail.charset},
              {"lines", mail.lines}}},
            {"complaints", mail.complaints},
            {"refusal", mail.refusal}};
}

Json of_mailbox(const MailboxFacts& mailbox) {
    Json lookups = Json::array();
    for (const LookupFacts& lookup : mailbox.lookups)
        lookups.push_back(
            {{"what", lookup.what}, {"address", lookup.address}, {"found", lookup.found}});
    Json found = nullptr;
    if (mailbox.found)
        found = {{"id", mailbox.found->id},
                 {"name", mailbox.found->mail_name},
                 {"domain", mailbox.found->domain_name},
                 {"attachments_dir", mailbox.found->attachments_dir}};
    return {{"recipient", mailbox.recipient},
            {"lookups", std::move(lookups)},
            {"found", std::move(found)},
            {"domain_known", mailbox.domain_known},
            {"switched_off_alias_of", mailbox.switched_off_alias_of},
            {"nearest", mailbox.nearest}};
}

Json of_trigger(const TriggerFacts& trigger) {
    Json elsewhere = Json::array();
    for (const PlaceFacts& place : trigger.elsewhere)
        elsewhere.push_back(of_place(place));
    return {{"where", trigger.where},
            {"text", trigger.text},
            {"found", trigger.found ? of_place(*trigger.found) : Json()},
            {"elsewhere", std::move(elsewhere)}};
}

Json of_limit(const RuleFacts& rule) {
    Json json = {{"answers_a_day", rule.answers_a_day},
                 {"senders_remembered", rule.senders_remembered},
                 {"state", nullptr}};
    if (rule.limit)
        json["state"] = {{"allows", rule.limit->allows},
                         {"answers", rule.limit->answers},
                         {"most_answers", rule.limit->most_answers},
                         {"senders", rule.limit->senders},
                         {"most_senders", rule.limit->most_senders},
                         {"evicted", rule.limit->evicted}};
    return json;
}

Json of_attachments(const RuleFacts& rule) {
    Json attachments = Json::array();
    for (const AttachmentFacts& attachment : rule.attachments)
        attachments.push_back({{"name", attachment.name},
                               {"missing", attachment.missing},
                               {"size", attachment.size ? Json(*attachment.size) : Json()},
                               {"problem", attachment.problem}});
    return attachments;
}

Json of_rule(const RuleFacts& rule) {
    Json notice = nullptr;
    if (rule.notice)
        notice = {{"envelope_sender", rule.notice->envelope_sender},
                  {"recipient", rule.notice->recipient}};
    Json reply = nullptr;
    if (rule.reply)
        reply = {{"size", rule.reply->size},
                 {"limit", rule.reply->limit},
                 {"oversize", rule.reply->oversize},
                 {"envelope_sender", rule.reply->envelope_sender},
                 {"recipient", rule.reply->recipient}};
    return {{"id", rule.id},
            {"on", rule.on},
            {"trigger", of_trigger(rule.trigger)},
            {"limit", of_limit(rule)},
            {"forwards", rule.forwards},
            {"attachments", of_attachments(rule)},
            {"notice", std::move(notice)},
            {"reply", std::move(reply)},
            {"complaints", rule.complaints},
            {"outcome", word_of(rule.outcome)}};
}

} // namespace

const char* word_of(Outcome outcome) {
    switch (outcome) {
    case Outcome::on:
        return "on";
    case Outcome::off:
        return "off";
    case Outcome::no_match:
        return "no match";
    case Outcome::limit_reached:
        return "limit reached";
    case Outcome::refused:
        return "refused";
    case Outcome::answered:
        return "answered";
    case Outcome::failed:
        return "failed";
    case Outcome::not_reached:
        break;
    }
    return "not reached";
}

std::string as_json(const Explanation& explanation) {
    Json rules = Json::array();
    for (const RuleFacts& rule : explanation.rules)
        rules.push_back(of_rule(rule));
    const Json document = {{"mail", of_mail(explanation.mail)},
                           {"mailbox", of_mailbox(explanation.mailbox)},
                           {"rules", std::move(rules)},
                           {"verdict",
                            {{"replies", explanation.replies},
                             {"forwards", explanation.forwards},
                             {"notices", explanation.notices},
                             {"sendmail_problem", explanation.sendmail_problem},
                             {"no_reply", explanation.no_reply}}}};
    return document.dump(2, ' ', true, Json::error_handler_t::replace) + "\n";
}
