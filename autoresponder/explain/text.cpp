#include "autoresponder/explain/writers.h"

#include "base/text.h"

namespace {

std::string counted(std::size_t count, std::string_view one, std::string_view many) {
    return concat({std::to_string(count), " ", count == 1 ? one : many});
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all.append(all.empty() ? "" : ", ").append(text);
    return all;
}

void write_host(const HostFacts& host, Page& page) {
    page.heading({"Host"});
    page.row(host.is_root ? Mark::note : Mark::none, "looks as",
             {host.user, host.is_root ? ", who may read what deliveries may not: --user NAME"
                                        " looks as they do"
                                      : ""});
    for (const HostFile& file : host.files)
        page.row(file.problem.empty() ? Mark::yes
                 : file.is_missing    ? Mark::none
                                      : Mark::no,
                 "reads", {file.path, file.problem.empty() ? "" : ": ", file.problem});
    page.row(Mark::none, "switches", {host.switches.empty() ? "none" : joined(host.switches)});
}

void write_text_part(const Reading& reading, Page& page) {
    const PartPlace& text = reading.text;
    if (!text.exists) {
        page.row(Mark::note, "text", {"none: no part of the mail that is looked at is text"});
        return;
    }
    page.row(Mark::none, "text",
             {text.number.empty() ? "the mail itself" : "part ", text.number, ", ",
              text.type.empty() ? "no type" : type_of(text), ", ", reading.mail.charset, ", ",
              text.encoding.empty() ? "no encoding" : text.encoding, ", ",
              counted(filled_lines(reading.mail), "line", "lines")});
}

void write_mail(const Explanation& told, Page& page) {
    if (!told.has_mail)
        return;
    page.heading({"Mail"});
    const Mail_content& mail = told.run.reading.mail;
    if (told.has_content()) {
        page.row(Mark::none, "sender", {mail.from, " (", told.run.reading.sender_field, ")"});
        page.row(Mark::none, "subject", {mail.subject.empty() ? "none" : mail.subject});
        page.row(Mark::none, "date", {mail.date.empty() ? "none" : mail.date});
        write_text_part(told.run.reading, page);
    }
    for (const std::string& complaint : told.complaints)
        page.row(Mark::note, "said", {complaint});
    if (!told.run.account.refusal.empty())
        page.row(Mark::no, "refused", {told.run.account.refusal});
}

void write_surroundings(const Surroundings& surroundings, Page& page) {
    page.row(Mark::no, "not found",
             {surroundings.domain_known ? "no mailbox and no alias of that name"
                                        : "the panel does not know the domain"});
    for (const std::string& domain : surroundings.switched_off_alias_of)
        page.row(Mark::note, "alias domain", {"of ", domain, ", and its mail is switched off"});
    for (const std::string& name : surroundings.nearest)
        page.row(Mark::note, "there is", {name});
    if (!surroundings.delimiter.empty())
        page.row(Mark::note, "but",
                 {"nothing behind \"", surroundings.delimiter,
                  "\" is left out: AUTORESPONDER_RECIPIENT_DELIMITER is not chosen"});
}

void write_mailbox(const Explanation& told, Page& page) {
    const Account& account = told.run.account;
    page.heading({"Mailbox for ", told.run.reading.mail.to});
    for (const LookupFacts& lookup : account.lookups)
        page.row(lookup.found ? Mark::yes : Mark::no, "looked up",
                 {lookup.what, " ", lookup.address, lookup.found ? ": found" : ": none"});
    if (!account.mailbox) {
        write_surroundings(told.surroundings, page);
        return;
    }
    page.row(Mark::none, "mailbox", {account.mailbox->address()});
    page.row(Mark::none, "files", {account.mailbox->attachments_dir});
}

void write_place(Mark mark, std::string_view label, std::string_view how, const PlaceFacts& place,
                 Page& page) {
    page.row(mark, label,
             {how, place.where, ", ", place.unit, " ", std::to_string(place.number), ": ",
              place.before, ">>", place.match, "<<", place.after});
}

void write_trigger(const RuleNotes& rule, bool sought, Page& page) {
    if (rule.where.empty()) {
        page.row(Mark::none, "trigger", {"none: every mail"});
        return;
    }
    page.row(Mark::none, "trigger", {"\"", rule.row.keystr, "\" in the ", rule.where});
    if (rule.found)
        write_place(Mark::yes, "found", "", *rule.found, page);
    else if (sought)
        page.row(Mark::no, "found", {"not in the ", rule.where});
    for (const PlaceFacts& place : rule.elsewhere)
        write_place(
            Mark::note, "but",
            place.match == rule.row.keystr ? "" : "if case and white space played no part: ", place,
            page);
}

void write_schedule(const Schedule& schedule, Page& page) {
    using Time = Schedule::Time;
    if (schedule.time == Time::before)
        page.row(Mark::no, "time", {"begins at ", schedule.begins});
    else if (schedule.time == Time::after)
        page.row(Mark::no, "time", {"has ended at ", schedule.ends});
    else
        page.row(Mark::yes, "time",
                 {"now", schedule.begins.empty() ? "" : " from ", schedule.begins,
                  schedule.ends.empty() ? "" : " until ", schedule.ends});
}

/// "a day", or the schedule's days.
std::string period(int days) {
    return days == 1 ? "a day" : concat({"in ", std::to_string(days), " days"});
}

void write_limit(const RuleNotes& rule, Page& page) {
    if (!rule.facts.limit) {
        page.row(Mark::none, "limit",
                 {rule.row.ans_freq, " answers ", period(rule.row.days()), " to one sender, ",
                  rule.row.mem_limit, " senders remembered"});
        return;
    }
    const LimiterVerdict& limit = *rule.facts.limit;
    const bool since = !limit.since.empty() && limit.days > 1;
    page.row(limit.allows() ? Mark::yes : Mark::no, "limit",
             {"the sender has had ", std::to_string(limit.answers.value_or(0)), " of ",
              std::to_string(limit.most_answers), " answers ",
              limit.days == 1 ? "today" : period(limit.days), since ? ", since " : "",
              since ? limit.since : "", "; ", std::to_string(limit.senders), " of ",
              std::to_string(limit.most_senders), " senders remembered"});
    if (!limit.evicted.empty())
        page.row(Mark::note, "forgets", {joined(limit.evicted)});
}

void write_attachment(const AttachmentFacts& file, Page& page) {
    if (file.size)
        page.row(Mark::yes, "file",
                 {"\"", file.name, "\", ", std::to_string(*file.size), " bytes"});
    else
        page.row(Mark::no, "file",
                 {"\"", file.name,
                  file.missing ? "\" is missing: " : "\" cannot be read: ", file.problem});
}

void write_reply(const RuleFacts& rule, Page& page) {
    if (rule.notice)
        page.row(Mark::note, "notice",
                 {"about missing files, to ", rule.notice->recipient, " from ",
                  rule.notice->envelope_sender});
    if (!rule.reply)
        return;
    const ReplyFacts& reply = *rule.reply;
    page.row(Mark::none, "envelope", {"from ", reply.envelope_sender, " to ", reply.recipient});
    if (reply.oversize)
        page.row(Mark::no, "size",
                 {"more than ", std::to_string(reply.limit),
                  " bytes: a short reply that says so goes out instead"});
    else
        page.row(Mark::yes, "size",
                 {std::to_string(reply.size), " of ", std::to_string(reply.limit), " bytes"});
}

/// In words, behind "rule 7: ".
std::string_view verdict_of(const RuleNotes& notes) {
    constexpr const char* outside = "stays silent: it is not in its time";
    const RuleFacts& rule = notes.facts;
    switch (rule.outcome) {
    case Outcome::on:
        return "is on";
    case Outcome::off:
        return notes.row.is_on() ? outside : "is switched off";
    case Outcome::outside:
        return outside;
    case Outcome::no_match:
        return "stays silent: its trigger is not found";
    case Outcome::limit_reached:
        return rule.limit->most_answers <= 0
                   ? "stays silent: it answers nobody (answers a day: 0, or no number)"
               : rule.limit->days > 1 ? "stays silent: the sender has had the answers of its days"
                                      : "stays silent: the sender has had today's answers";
    case Outcome::refused:
        return rule.forwards.empty() ? "does not answer: the mail is refused"
                                     : "forwards, and does not answer: the mail is refused";
    case Outcome::answered:
        return rule.forwards.empty() ? "answers" : "forwards and answers";
    case Outcome::failed:
        return rule.reply ? "does not answer: the reply cannot be written"
                          : "ends the run with status 1";
    case Outcome::not_reached:
        break;
    }
    return "is not reached";
}

void write_rule(const RuleNotes& rule, bool sought, Page& page) {
    page.heading({"Rule ", rule.row.id, rule.row.is_on() ? ", on" : ", off"});
    if (rule.row.schedule)
        write_schedule(*rule.row.schedule, page);
    write_trigger(rule, sought, page);
    write_limit(rule, page);
    if (!rule.facts.forwards.empty())
        page.row(Mark::none, "forwards to", {joined(rule.facts.forwards)});
    for (const AttachmentFacts& file : rule.attachments)
        write_attachment(file, page);
    write_reply(rule.facts, page);
    for (const std::string& remark : rule.remarks)
        page.row(Mark::note, "remark", {remark});
    for (const std::string& complaint : rule.complaints)
        page.row(Mark::note, "said", {complaint});
}

void write_verdict(const Explanation& told, Page& page) {
    page.heading({"Verdict"});
    for (const RuleNotes& rule : told.rules) {
        const Outcome outcome = rule.facts.outcome;
        const bool good = outcome == Outcome::answered || outcome == Outcome::on;
        page.verdict(good ? Mark::yes : Mark::no, {"rule ", rule.row.id, " ", verdict_of(rule)});
    }
    if (!told.sendmail_problem.empty())
        page.verdict(Mark::note, {"sendmail takes nothing: ", told.sendmail_problem});
    for (const cell::Confinement& confinement : told.confinements) {
        if (!confinement.holds)
            page.verdict(Mark::note, {"mail is read without this: ", confinement.name});
    }
    const bool good = told.no_reply.empty();
    const Mark mark = good ? Mark::yes : Mark::no;
    if (!told.has_mail) {
        page.verdict(mark,
                     {good ? "a mail may be answered" : "no mail is answered: ", told.no_reply});
        return;
    }
    const auto of_kind = [](std::size_t count, std::string_view one, std::string_view many) {
        return count > 0 ? ", " + counted(count, one, many) : "";
    };
    page.verdict(mark, {good ? counted(told.replies, "reply", "replies") : "no reply: ",
                        told.no_reply, of_kind(told.forwards, "forward", "forwards"),
                        of_kind(told.notices, "notice", "notices")});
}

} // namespace

std::string as_text(const Explanation& told) {
    Page page;
    write_host(told.host, page);
    write_mail(told, page);
    write_mailbox(told, page);
    for (const RuleNotes& rule : told.rules)
        write_rule(rule, told.has_content(), page);
    write_verdict(told, page);
    return page.text();
}
