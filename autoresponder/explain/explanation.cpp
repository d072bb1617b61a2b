#include "autoresponder/explain/explanation.h"

#include "autoresponder/deciding/limiter.h"
#include "autoresponder/deciding/mailbox.h"
#include "autoresponder/deciding/refusal.h"
#include "autoresponder/deciding/trigger.h"
#include "autoresponder/explain/remarks.h"
#include "autoresponder/explain/screen.h"
#include "autoresponder/explain/search.h"
#include "autoresponder/explain/surroundings.h"
#include "autoresponder/incoming/cell_reading.h"
#include "autoresponder/incoming/intake.h"
#include "autoresponder/outgoing/attachments.h"
#include "autoresponder/outgoing/delivery.h"
#include "autoresponder/outgoing/forward.h"
#include "autoresponder/outgoing/reply.h"
#include "autoresponder/responder.h"
#include "base/io.h"
#include "base/report.h"
#include "base/text.h"
#include "codecs/idn.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t most_of_message = 300;

/// What was said so far, by how many of the run's rules were begun by then. When the process ends
/// before it is told, it goes out where it was meant to.
std::map<std::size_t, std::vector<std::string>> said;

void pass_on_at_exit() noexcept {
    for (const auto& [rules, messages] : said) {
        for (const std::string& message : messages)
            write_pieces(STDERR_FILENO, {message}, "\n");
    }
}

/// Whether the run comes to the mailbox's rules; if not, why was said last.
bool read_mail(DwString mail, const std::string& recipient, Run& run) {
    std::optional<Reading> reading = read_in_cell(std::move(mail), recipient.c_str(), run.policy);
    if (reading) {
        run.reading = std::move(*reading);
        if (!is_stopped(run))
            return true;
    }
    run.account.refusal = said[0].back();
    said[0].pop_back();
    return false;
}

void run_over(Run& run) {
    try {
        db_mail_act(run);
    } catch (const orvek::idn::IdnaError& failure) {
        report({"IDN conversion error: ", failure.what()});
    }
}

AttachmentFacts attachment(const std::string& directory, const std::string& name, bool missing) {
    AttachmentFacts told{name, missing, std::nullopt, {}};
    const Descriptor file = open_attachment(directory, name);
    struct stat status;
    if (!file)
        told.problem = std::strerror(errno);
    else if (fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode))
        told.size = static_cast<std::uint64_t>(status.st_size);
    else
        told.problem = "it is a directory";
    return told;
}

std::vector<AttachmentFacts> attachments_of(const ResponderRule& rule, Run& run) {
    const std::string& directory = run.mailbox().attachments_dir;
    const AttachmentNames names = find_attachments(run.connection.get(), rule.id, directory);
    std::vector<AttachmentFacts> told;
    for (const std::string& name : names.found)
        told.push_back(attachment(directory, name, false));
    std::string_view rest = names.missing;
    std::string_view name;
    while (take_line(rest, name))
        told.push_back(attachment(directory, std::string(name), true));
    return told;
}

/// A rule that the run has not come to.
RuleFacts not_reached(const ResponderRule& rule, bool has_mail) {
    RuleFacts facts;
    facts.id = rule.id;
    facts.outcome = !rule.is_on() || (!has_mail && !rule.is_due()) ? Outcome::off
                    : has_mail                                     ? Outcome::not_reached
                                                                   : Outcome::on;
    return facts;
}

/// What the run has not asked for.
void complete(const ResponderRule& rule, bool has_content, Run& run) {
    RuleFacts& facts = run.account.rule();
    if (facts.forwards.empty())
        facts.forwards = forward_addresses(run, rule.id);
    if (!facts.limit && has_content)
        can_response_freq(run, rule);
    if (!facts.trigger && facts.outcome != Outcome::no_match && has_content)
        facts.trigger = find_trigger(rule, run.reading.mail, run.policy);
}

/// `texts` are those of the mail, once a trigger is sought in them.
void note_trigger(const std::optional<DwString>& mail, std::vector<MailText>& texts,
                  const Explanation& told, RuleNotes& notes) {
    const Reading& reading = told.run.reading;
    const std::optional<std::string_view> text =
        trigger_text(notes.row, reading.mail, told.run.policy);
    if (!text)
        return;
    notes.where = notes.row.key_where == "subj" ? "subject" : "text";
    if (const std::optional<TriggerFacts>& found = notes.facts.trigger) {
        notes.found = place_in(notes.where, "line", *text, *found);
    } else if (told.has_content()) {
        if (texts.empty())
            texts = texts_of(*mail, reading);
        notes.elsewhere = places_of(notes.row.keystr, texts);
    }
}

/// The reply that is to be kept, of a rule that does not answer.
void keep_reply(const ResponderRule& rule, Run& run) {
    run.account.begin_rule(rule.id);
    try {
        send_reply(rule, run);
    } catch (const orvek::idn::IdnaError&) {
        // Then there is none.
    }
}

/// Nothing of what is said now would be said by a run. The account holds one rule at a time from
/// here on: where the stages of a run record what they find out.
void take_notes(const std::optional<DwString>& mail, Explanation& told, Run& run) {
    const Listening unheard([](std::string_view) {});
    const std::vector<RuleFacts> reached = std::move(run.account.rules);
    std::vector<MailText> texts;
    Rules all(run);
    while (const std::optional<ResponderRule> rule = all.next()) {
        const std::size_t index = told.rules.size();
        run.account.rules = {index < reached.size() ? reached[index]
                                                    : not_reached(*rule, told.has_mail)};
        complete(*rule, told.has_content(), run);
        RuleNotes& notes = told.rules.emplace_back();
        notes.row = *rule;
        notes.facts = run.account.rule();
        notes.attachments = attachments_of(*rule, run);
        notes.remarks = remarks_on(*rule, run.policy);
        notes.complaints = said[index + 1];
        note_trigger(mail, texts, told, notes);
    }
    for (const RuleNotes& notes : told.rules) {
        if (notes.row.id == run.kept_rule && !run.kept_reply && told.has_content())
            keep_reply(notes.row, run);
    }
}

void count(const RuleFacts& rule, Explanation& told) {
    const bool replies = rule.outcome == Outcome::answered;
    // Its forward and its notice are sent before a reply fails.
    const bool comes_to_reply = replies || rule.outcome == Outcome::failed;
    const bool forwards = comes_to_reply || rule.outcome == Outcome::refused;
    told.forwards += forwards && !rule.forwards.empty() ? 1U : 0;
    told.replies += replies ? 1U : 0;
    told.notices += comes_to_reply && rule.notice ? 1U : 0;
}

std::string reason_of_rules(const Explanation& told) {
    const std::vector<RuleNotes>& rules = told.rules;
    const auto any = [&](Outcome outcome) {
        return std::any_of(rules.begin(), rules.end(),
                           [&](const RuleNotes& rule) { return rule.facts.outcome == outcome; });
    };
    if (rules.empty())
        return "the mailbox has no rules";
    if (any(Outcome::on))
        return {};
    if (any(Outcome::answered))
        return "sendmail takes nothing: " + told.sendmail_problem;
    if (any(Outcome::failed))
        return "the reply fails";
    if (any(Outcome::limit_reached))
        return "the limit of every rule that matches is reached";
    return any(Outcome::no_match) ? "no rule that is on matches" : "no rule is on";
}

std::string reason(const Explanation& told) {
    const Account& account = told.run.account;
    if (!account.refusal.empty())
        return account.refusal;
    if (!account.mailbox && !told.surroundings.switched_off_alias_of.empty())
        return "the mail of the alias domain is switched off";
    if (!account.mailbox)
        return told.surroundings.domain_known ? "no such mailbox" : "no such domain";
    return told.replies > 0 ? "" : reason_of_rules(told);
}

} // namespace

Explanation explain(const std::string& recipient, const std::optional<DwString>& mail, Run& run) {
    std::atexit(pass_on_at_exit);
    const Listening listening([&run](std::string_view message) {
        said[run.account.rules.size()].push_back(shortened(message, most_of_message));
    });
    Explanation told(run);
    told.host = host_facts(run.policy);
    told.has_mail = mail.has_value();
    set_recipient(recipient, &run.reading.mail);
    const bool runs = mail && read_mail(*mail, recipient, run);
    if (runs)
        run_over(run);
    told.complaints = said[0];
    if (!runs) {
        open_panel_database(run);
        find_mailbox(run);
    }
    if (run.account.mailbox)
        take_notes(mail, told, run);
    else
        told.surroundings = surroundings_of(run);
    told.sendmail_problem = sendmail_problem();
    if (told.sendmail_problem.empty()) {
        for (const RuleNotes& rule : told.rules)
            count(rule.facts, told);
    }
    told.confinements = cell::confinements();
    told.no_reply = reason(told);
    said.clear();
    return told;
}

std::string type_of(const PartPlace& text) {
    return std::string(trim(text.type.substr(0, text.type.find(';')), " \t\r\n"));
}

std::size_t filled_lines(const Mail_content& mail) {
    const std::string_view text = mail.body;
    const std::string_view filled = text.substr(0, text.find_last_not_of("\r\n") + 1);
    return filled.empty()
               ? 0
               : static_cast<std::size_t>(std::count(filled.begin(), filled.end(), '\n')) + 1;
}
