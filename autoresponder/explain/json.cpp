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

template <typename Fact>
Json each(const std::vector<Fact>& facts, Json (*form)(const Fact&)) {
    Json array = Json::array();
    for (const Fact& fact : facts)
        array.push_back(form(fact));
    return array;
}

template <typename Fact>
Json or_null(const std::optional<Fact>& fact, Json (*form)(const Fact&)) {
    return fact ? form(*fact) : Json();
}

Json of_time(const std::string& time) {
    return time.empty() ? Json() : Json(time);
}

Json of_file(const HostFile& file) {
    return {{"path", file.path}, {"missing", file.is_missing}, {"problem", file.problem}};
}

Json of_host(const HostFacts& host) {
    return {{"user", host.user},
            {"root", host.is_root},
            {"files", each(host.files, of_file)},
            {"switches", host.switches}};
}

Json of_mail(const Explanation& told) {
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

Json of_lookup(const LookupFacts& lookup) {
    return {{"what", lookup.what}, {"address", lookup.address}, {"found", lookup.found}};
}

Json of_found(const ResolvedMailbox& mailbox) {
    return {{"id", mailbox.id},
            {"name", mailbox.mail_name},
            {"domain", mailbox.domain_name},
            {"attachments_dir", mailbox.attachments_dir}};
}

Json of_mailbox(const Explanation& told) {
    const Account& account = told.run.account;
    return {{"recipient", told.run.reading.mail.to},
            {"lookups", each(account.lookups, of_lookup)},
            {"found", or_null(account.mailbox, of_found)},
            {"domain_known", told.surroundings.domain_known},
            {"switched_off_alias_of", told.surroundings.switched_off_alias_of},
            {"nearest", told.surroundings.nearest},
            {"delimiter", told.surroundings.delimiter}};
}

Json of_schedule(const Schedule& schedule) {
    using Time = Schedule::Time;
    return {{"begins", of_time(schedule.begins)},
            {"ends", of_time(schedule.ends)},
            {"days", schedule.days},
            {"time", schedule.time == Time::before  ? "before"
                     : schedule.time == Time::after ? "after"
                                                    : "within"}};
}

Json of_place(const PlaceFacts& place) {
    return {{"where", place.where},   {"unit", place.unit},   {"number", place.number},
            {"before", place.before}, {"match", place.match}, {"after", place.after}};
}

Json of_trigger(const RuleNotes& rule) {
    return {{"where", rule.where},
            {"text", rule.where.empty() ? "" : rule.row.keystr},
            {"found", or_null(rule.found, of_place)},
            {"elsewhere", each(rule.elsewhere, of_place)}};
}

Json of_state(const LimiterVerdict& limit) {
    return {{"allows", limit.allows()},           {"answers", limit.answers.value_or(0)},
            {"most_answers", limit.most_answers}, {"senders", limit.senders},
            {"most_senders", limit.most_senders}, {"evicted", limit.evicted},
            {"since", of_time(limit.since)}};
}

Json of_attachment(const AttachmentFacts& attachment) {
    return {{"name", attachment.name},
            {"missing", attachment.missing},
            {"size", attachment.size ? Json(*attachment.size) : Json()},
            {"problem", attachment.problem}};
}

Json of_notice(const NoticeFacts& notice) {
    return {{"envelope_sender", notice.envelope_sender}, {"recipient", notice.recipient}};
}

Json of_reply(const ReplyFacts& reply) {
    return {{"size", reply.size},
            {"limit", reply.limit},
            {"oversize", reply.oversize},
            {"envelope_sender", reply.envelope_sender},
            {"recipient", reply.recipient}};
}

Json of_rule(const RuleNotes& rule) {
    const RuleFacts& facts = rule.facts;
    return {{"id", facts.id},
            {"on", rule.row.is_on()},
            {"schedule", or_null(rule.row.schedule, of_schedule)},
            {"trigger", of_trigger(rule)},
            {"limit",
             {{"answers_a_day", rule.row.ans_freq},
              {"senders_remembered", rule.row.mem_limit},
              {"state", or_null(facts.limit, of_state)}}},
            {"forwards", facts.forwards},
            {"attachments", each(rule.attachments, of_attachment)},
            {"notice", or_null(facts.notice, of_notice)},
            {"reply", or_null(facts.reply, of_reply)},
            {"remarks", rule.remarks},
            {"complaints", rule.complaints},
            {"outcome", word_of(facts.outcome)}};
}

Json of_confinement(const cell::Confinement& confinement) {
    return {{"name", confinement.name}, {"holds", confinement.holds}};
}

} // namespace

std::string as_json(const Explanation& told) {
    Json document = {{"host", of_host(told.host)},
                     {"mail", told.has_mail ? of_mail(told) : Json()},
                     {"mailbox", of_mailbox(told)},
                     {"rules", each(told.rules, of_rule)},
                     {"confinements", each(told.confinements, of_confinement)},
                     {"verdict",
                      {{"replies", told.replies},
                       {"forwards", told.forwards},
                       {"notices", told.notices},
                       {"sendmail_problem", told.sendmail_problem},
                       {"no_reply", told.no_reply}}}};
    shorten(document);
    return document.dump(2, ' ', true, Json::error_handler_t::replace) + "\n";
}
