#include "autoresponder/explain/writers.h"

#include "base/text.h"

namespace {

std::string number(std::uint64_t value) {
    return std::to_string(value);
}

std::string counted(std::size_t count, std::string_view one, std::string_view many) {
    return concat({number(count), " ", count == 1 ? one : many});
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all.append(all.empty() ? "" : ", ").append(text);
    return all;
}

std::string in_quotes(std::string_view text) {
    return concat({"\"", text, "\""});
}

void write_host(const HostFacts& host, Page& page) {
    page.heading("Host");
    page.row(host.is_root ? Mark::note : Mark::none, "looks as",
             concat({host.user, host.is_root ? ", who may read what deliveries may not: --user NAME"
                                               " looks as they do"
                                             : ""}));
    for (const HostFile& file : host.files)
        page.row(file.problem.empty() ? Mark::yes
                 : file.is_missing    ? Mark::none
                                      : Mark::no,
                 "reads", concat({file.path, file.problem.empty() ? "" : ": ", file.problem}));
    page.row(Mark::none, "switches", host.switches.empty() ? "none" : joined(host.switches));
}

void write_text_part(const Reading& reading, Page& page) {
    const PartPlace& text = reading.text;
    if (!text.exists) {
        page.row(Mark::note, "text", "none: no part of the mail that is looked at is text");
        return;
    }
    page.row(
        Mark::none, "text",
        concat({text.number.empty() ? std::string("the mail itself") : "part " + text.number, ", ",
                text.type.empty() ? "no type" : type_of(text), ", ", reading.mail.charset, ", ",
                text.encoding.empty() ? "no encoding" : std::string_view(text.encoding), ", ",
                counted(filled_lines(reading.mail), "line", "lines")}));
}

void write_mail(const Explanation& told, Page& page) {
    if (!told.has_mail)
        return;
    page.heading("Mail");
    const Mail_content& mail = told.run.reading.mail;
    if (!mail.from.empty()) {
        page.row(Mark::none, "sender",
                 concat({mail.from, " (", told.run.reading.sender_field, ")"}));
        page.row(Mark::none, "subject", mail.subject.empty() ? "none" : mail.subject);
        page.row(Mark::none, "date", mail.date.empty() ? "none" : mail.date);
        write_text_part(told.run.reading, page);
    }
    for (const std::string& complaint : told.complaints)
        page.row(Mark::note, "said", complaint);
    if (!told.run.account.refusal.empty())
        page.row(Mark::no, "refused", told.run.account.refusal);
}

void write_surroundings(const Surroundings& surroundings, Page& page) {
    page.row(Mark::no, "not found",
             surroundings.domain_known ? "no mailbox and no alias of that name"
                                       : "the panel does not know the domain");
    for (const std::string& domain : surroundings.switched_off_alias_of)
        page.row(Mark::note, "alias domain",
                 concat({"of ", domain, ", and its mail is switched off"}));
    for (const std::string& name : surroundings.nearest)
        page.row(Mark::note, "there is", name);
    if (!surroundings.delimiter.empty())
        page.row(Mark::note, "but",
                 concat({"nothing behind \"", surroundings.delimiter,
                         "\" is left out: AUTORESPONDER_RECIPIENT_DELIMITER is not chosen"}));
}

void write_mailbox(const Explanation& told, Page& page) {
    const Account& account = told.run.account;
    page.heading(concat({"Mailbox for ", told.run.reading.mail.to}));
    for (const LookupFacts& lookup : account.lookups)
        page.row(lookup.found ? Mark::yes : Mark::no, "looked up",
                 concat({lookup.what, " ", lookup.address, lookup.found ? ": found" : ": none"}));
    if (!account.mailbox) {
        write_surroundings(told.surroundings, page);
        return;
    }
    page.row(Mark::none, "mailbox",
             concat({account.mailbox->mail_name, "@", account.mailbox->domain_name}));
    page.row(Mark::none, "files", account.mailbox->attachments_dir);
}

void write_place(Mark mark, std::string_view label, const PlaceFacts& place, std::string_view how,
                 Page& page) {
    page.row(mark, label,
             concat({how, place.where, ", ", place.unit, " ", number(place.number), ": ",
                     place.before, ">>", place.match, "<<", place.after}));
}

void write_trigger(const RuleNotes& rule, Page& page) {
    if (rule.where.empty()) {
        page.row(Mark::none, "trigger", "none: every mail");
        return;
    }
    page.row(Mark::none, "trigger", concat({in_quotes(rule.trigger), " in the ", rule.where}));
    if (rule.found)
        write_place(Mark::yes, "found", *rule.found, "", page);
    else if (rule.sought)
        page.row(Mark::no, "found", concat({"not in the ", rule.where}));
    for (const PlaceFacts& place : rule.elsewhere)
        write_place(Mark::note, "but", place,
                    place.is_exact ? "" : "if case and white space played no part: ", page);
}

void write_schedule(const std::optional<Schedule>& schedule, Page& page) {
    if (!schedule)
        return;
    using Time = Schedule::Time;
    const std::string begin = schedule->begins.empty() ? "" : " from " + schedule->begins;
    const std::string end = schedule->ends.empty() ? "" : " until " + schedule->ends;
    page.row(schedule->time == Time::within ? Mark::yes : Mark::no, "time",
             schedule->time == Time::before  ? "begins at " + schedule->begins
             : schedule->time == Time::after ? "has ended at " + schedule->ends
                                             : concat({"now", begin, end}));
}

/// "a day", or the schedule's days.
std::string period(int days) {
    return days == 1 ? "a day" : concat({"in ", std::to_string(days), " days"});
}

void write_limit(const RuleNotes& rule, Page& page) {
    if (!rule.facts.limit) {
        const int days = rule.schedule ? rule.schedule->days : 1;
        page.row(Mark::none, "limit",
                 concat({rule.answers_a_day, " answers ", period(days), " to one sender, ",
                         rule.senders_remembered, " senders remembered"}));
        return;
    }
    const LimiterVerdict& limit = *rule.facts.limit;
    const std::string since =
        limit.since.empty() || limit.days == 1 ? "" : ", since " + limit.since;
    page.row(limit.allows() ? Mark::yes : Mark::no, "limit",
             concat({"the sender has had ", std::to_string(limit.answers.value_or(0)), " of ",
                     std::to_string(limit.most_answers), " answers ",
                     limit.days == 1 ? "today" : period(limit.days), since, "; ",
                     std::to_string(limit.senders), " of ", std::to_string(limit.most_senders),
                     " senders remembered"}));
    if (!limit.evicted.empty())
        page.row(Mark::note, "forgets", joined(limit.evicted));
}

void write_attachment(const AttachmentFacts& attachment, Page& page) {
    if (attachment.missing)
        page.row(Mark::no, "file",
                 concat({in_quotes(attachment.name), " is missing: ", attachment.problem}));
    else if (attachment.size)
        page.row(Mark::yes, "file",
                 concat({in_quotes(attachment.name), ", ", number(*attachment.size), " bytes"}));
    else
        page.row(Mark::no, "file",
                 concat({in_quotes(attachment.name), " cannot be read: ", attachment.problem}));
}

void write_reply(const RuleFacts& rule, Page& page) {
    if (rule.notice)
        page.row(Mark::note, "notice",
                 concat({"about missing files, to ", rule.notice->recipient, " from ",
                         rule.notice->envelope_sender}));
    if (!rule.reply)
        return;
    const ReplyFacts& reply = *rule.reply;
    page.row(Mark::none, "envelope",
             concat({"from ", reply.envelope_sender, " to ", reply.recipient}));
    page.row(
        reply.oversize ? Mark::no : Mark::yes, "size",
        concat({reply.oversize ? "more than " : number(reply.size) + " of ", number(reply.limit),
                " bytes", reply.oversize ? ": a short reply that says so goes out instead" : ""}));
}

/// In words, behind "rule 7: ".
std::string_view verdict_of(const RuleNotes& notes) {
    constexpr const char* outside = "stays silent: it is not in its time";
    const RuleFacts& rule = notes.facts;
    switch (rule.outcome) {
    case Outcome::on:
        return "is on";
    case Outcome::off:
        return notes.on ? outside : "is switched off";
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

void write_rule(const RuleNotes& rule, Page& page) {
    page.heading(concat({"Rule ", rule.facts.id, rule.on ? ", on" : ", off"}));
    write_schedule(rule.schedule, page);
    write_trigger(rule, page);
    write_limit(rule, page);
    if (!rule.facts.forwards.empty())
        page.row(Mark::none, "forwards to", joined(rule.facts.forwards));
    for (const AttachmentFacts& attachment : rule.attachments)
        write_attachment(attachment, page);
    write_reply(rule.facts, page);
    for (const std::string& remark : rule.remarks)
        page.row(Mark::note, "remark", remark);
    for (const std::string& complaint : rule.complaints)
        page.row(Mark::note, "said", complaint);
}

void write_verdict(const Explanation& told, Page& page) {
    page.heading("Verdict");
    for (const RuleNotes& rule : told.rules) {
        const RuleFacts& facts = rule.facts;
        const bool good = facts.outcome == Outcome::answered || facts.outcome == Outcome::on;
        page.verdict(good ? Mark::yes : Mark::no,
                     concat({"rule ", facts.id, " ", verdict_of(rule)}));
    }
    const bool good = told.no_reply.empty();
    if (!told.sendmail_problem.empty())
        page.verdict(Mark::note, concat({"sendmail takes nothing: ", told.sendmail_problem}));
    for (const cell::Confinement& confinement : told.confinements) {
        if (!confinement.holds)
            page.verdict(Mark::note, concat({"mail is read without this: ", confinement.name}));
    }
    if (!told.has_mail) {
        page.verdict(good ? Mark::yes : Mark::no,
                     good ? std::string("a mail may be answered")
                          : concat({"no mail is answered: ", told.no_reply}));
        return;
    }
    std::string sum =
        good ? counted(told.replies, "reply", "replies") : concat({"no reply: ", told.no_reply});
    if (told.forwards > 0)
        sum += ", " + counted(told.forwards, "forward", "forwards");
    if (told.notices > 0)
        sum += ", " + counted(told.notices, "notice", "notices");
    page.verdict(good ? Mark::yes : Mark::no, sum);
}

} // namespace

std::string as_text(const Explanation& explanation, const Style& style) {
    Page page(style);
    write_host(explanation.host, page);
    write_mail(explanation, page);
    write_mailbox(explanation, page);
    for (const RuleNotes& rule : explanation.rules)
        write_rule(rule, page);
    write_verdict(explanation, page);
    return page.text();
}
