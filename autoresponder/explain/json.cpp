#include "autoresponder/explain/writers.h"

#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

/// A stranger's text can be as long as a mail.
void shorten(Json& value) {
    if (value.is_string()) {
        value = shortened(value.get_ref<const std::string&>());
    } else if (value.is_structured()) {
        for (Json& inner : value)
            shorten(inner);
    }
}

Json of_place(const PlaceFacts& place) {
    return {{"where", place.where},   {"unit", place.unit},   {"number", place.number},
            {"before", place.before}, {"match", place.match}, {"after", place.after},
            {"exact", place.is_exact}};
}

Json of_host(const HostFacts& host) {
    Json files = Json::array();
    for (const HostFile& file : host.files)
        files.push_back(
            {{"path", file.path}, {"missing", file.is_missing}, {"problem", file.problem}});
    return {{"user", host.user},
            {"root", host.is_root},
            {"files", std::move(files)},
            {"switches", host.switches}};
}

Json of_mail(const Explanation& told) {
    if (!told.has_mail)
        return nullptr;
    const Reading& reading = told.run.reading;
    return {{"sender", reading.mail.from},
            {"sender_field", reading.sender_field},
            {"subject", reading.mail.subject},
            {"date", reading.mail.date},
            {"text",
             {{"exists", reading.text.exists},
              {"part", reading.text.number},
              {"type", type_of(reading.text)},
              {"encoding", reading.text.encoding},
              {"charset", reading.mail.charset},
              {"lines", filled_lines(reading.mail)}}},
            {"complaints", told.complaints},
            {"refusal", told.run.account.refusal}};
}

Json of_mailbox(const Explanation& told) {
    const Account& account = told.run.account;
    Json lookups = Json::array();
    for (const LookupFacts& lookup : account.lookups)
        lookups.push_back(
            {{"what", lookup.what}, {"address", lookup.address}, {"found", lookup.found}});
    Json found = nullptr;
    if (account.mailbox)
        found = {{"id", account.mailbox->id},
                 {"name", account.mailbox->mail_name},
                 {"domain", account.mailbox->domain_name},
                 {"attachments_dir", account.mailbox->attachments_dir}};
    return {{"recipient", told.run.reading.mail.to},
            {"lookups", std::move(lookups)},
            {"found", std::move(found)},
            {"domain_known", told.surroundings.domain_known},
            {"switched_off_alias_of", told.surroundings.switched_off_alias_of},
            {"nearest", told.surroundings.nearest},
            {"delimiter", told.surroundings.delimiter}};
}

Json of_trigger(const RuleNotes& rule) {
    Json elsewhere = Json::array();
    for (const PlaceFacts& place : rule.elsewhere)
        elsewhere.push_back(of_place(place));
    return {{"where", rule.where},
            {"text", rule.trigger},
            {"found", rule.found ? of_place(*rule.found) : Json()},
            {"elsewhere", std::move(elsewhere)}};
}

const char* word_of(Schedule::Time time) {
    return time == Schedule::Time::before  ? "before"
           : time == Schedule::Time::after ? "after"
                                           : "within";
}

Json of_schedule(const std::optional<Schedule>& schedule) {
    if (!schedule)
        return nullptr;
    const auto or_null = [](const std::string& text) { return text.empty() ? Json() : Json(text); };
    return {{"begins", or_null(schedule->begins)},
            {"ends", or_null(schedule->ends)},
            {"days", schedule->days},
            {"time", word_of(schedule->time)}};
}

Json of_limit(const RuleNotes& rule) {
    Json json = {{"answers_a_day", rule.answers_a_day},
                 {"senders_remembered", rule.senders_remembered},
                 {"state", nullptr}};
    if (const std::optional<LimiterVerdict>& limit = rule.facts.limit)
        json["state"] = {{"allows", limit->allows()},
                         {"answers", limit->answers.value_or(0)},
                         {"most_answers", limit->most_answers},
                         {"senders", limit->senders},
                         {"most_senders", limit->most_senders},
                         {"evicted", limit->evicted},
                         {"since", limit->since.empty() ? Json() : Json(limit->since)}};
    return json;
}

Json of_attachments(const RuleNotes& rule) {
    Json attachments = Json::array();
    for (const AttachmentFacts& attachment : rule.attachments)
        attachments.push_back({{"name", attachment.name},
                               {"missing", attachment.missing},
                               {"size", attachment.size ? Json(*attachment.size) : Json()},
                               {"problem", attachment.problem}});
    return attachments;
}

Json of_rule(const RuleNotes& rule) {
    const RuleFacts& facts = rule.facts;
    Json notice = nullptr;
    if (facts.notice)
        notice = {{"envelope_sender", facts.notice->envelope_sender},
                  {"recipient", facts.notice->recipient}};
    Json reply = nullptr;
    if (facts.reply)
        reply = {{"size", facts.reply->size},
                 {"limit", facts.reply->limit},
                 {"oversize", facts.reply->oversize},
                 {"envelope_sender", facts.reply->envelope_sender},
                 {"recipient", facts.reply->recipient}};
    return {{"id", facts.id},
            {"on", rule.on},
            {"schedule", of_schedule(rule.schedule)},
            {"trigger", of_trigger(rule)},
            {"limit", of_limit(rule)},
            {"forwards", facts.forwards},
            {"attachments", of_attachments(rule)},
            {"notice", std::move(notice)},
            {"reply", std::move(reply)},
            {"remarks", rule.remarks},
            {"complaints", rule.complaints},
            {"outcome", word_of(facts.outcome)}};
}

} // namespace

std::string as_json(const Explanation& explanation) {
    Json rules = Json::array();
    for (const RuleNotes& rule : explanation.rules)
        rules.push_back(of_rule(rule));
    Json confinements = Json::array();
    for (const cell::Confinement& confinement : explanation.confinements)
        confinements.push_back({{"name", confinement.name}, {"holds", confinement.holds}});
    Json document = {{"host", of_host(explanation.host)},
                     {"mail", of_mail(explanation)},
                     {"mailbox", of_mailbox(explanation)},
                     {"rules", std::move(rules)},
                     {"confinements", std::move(confinements)},
                     {"verdict",
                      {{"replies", explanation.replies},
                       {"forwards", explanation.forwards},
                       {"notices", explanation.notices},
                       {"sendmail_problem", explanation.sendmail_problem},
                       {"no_reply", explanation.no_reply}}}};
    shorten(document);
    return document.dump(2, ' ', true, Json::error_handler_t::replace) + "\n";
}
