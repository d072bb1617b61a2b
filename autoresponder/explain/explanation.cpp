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
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// What was said so far, and how many of the run's rules were begun by then. When the process ends
/// before it is told, it goes out where it was meant to.
constexpr std::size_t most_of_message = 300;
struct Said {
    std::string message;
    std::size_t rules;
};
std::vector<Said> said;

void pass_on_at_exit() noexcept {
    for (const Said& line : said)
        write_fully(STDERR_FILENO, concat({line.message, "\n"}));
}

std::vector<std::string> said_at(std::size_t rules) {
    std::vector<std::string> messages;
    for (const Said& line : said) {
        if (line.rules == rules)
            messages.push_back(line.message);
    }
    return messages;
}

/// Whether the run comes to the mailbox's rules.
bool read_mail(DwString mail, const std::string& recipient, Run& run) {
    std::optional<Reading> reading = read_in_cell(std::move(mail), recipient.c_str(), run.policy);
    if (!reading)
        return false;
    run.reading = std::move(*reading);
    return !is_stopped(run);
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

/// Notes on the rules, in the order of the run.
class NoteTaker {
public:
    NoteTaker(const std::optional<DwString>& mail, Run& run)
        : run_(run), reached_(run.account.rules), has_mail_(mail.has_value()),
          texts_(mail.value_or(DwString()), run.reading) {}

    RuleNotes take(const ResponderRule& rule, std::size_t index) {
        RuleNotes notes;
        notes.on = is_on(rule);
        notes.schedule = rule.schedule;
        notes.answers_a_day = rule.ans_freq;
        notes.senders_remembered = rule.mem_limit;
        if (index < reached_.size()) {
            notes.facts = reached_[index];
            notes.complaints = said_at(index + 1);
        } else {
            notes.facts.id = rule.id;
            notes.facts.outcome = !notes.on || (!has_mail_ && !is_due(rule)) ? Outcome::off
                                  : has_mail_                                ? Outcome::not_reached
                                                                             : Outcome::on;
        }
        complete(rule, notes.facts);
        notes.attachments = attachments_of(rule, run_);
        notes.remarks = remarks_on(rule, run_.policy);
        note_trigger(rule, notes);
        return notes;
    }

private:
    /// Whether there is a mail that a trigger can be sought in.
    bool has_content() const { return has_mail_ && !run_.reading.mail.from.empty(); }

    /// What the run has not asked for.
    void complete(const ResponderRule& rule, RuleFacts& facts) {
        run_.account.begin_rule(rule.id);
        if (facts.forwards.empty())
            facts.forwards = forward_addresses(run_, rule.id);
        if (!facts.limit && has_content()) {
            can_response_freq(run_, rule);
            facts.limit = run_.account.rule().limit;
        }
        if (!facts.trigger && facts.outcome != Outcome::no_match && has_content())
            facts.trigger = find_trigger(rule, run_.reading.mail, run_.policy);
    }

    void note_trigger(const ResponderRule& rule, RuleNotes& notes) {
        const std::optional<std::string_view> text =
            trigger_text(rule, run_.reading.mail, run_.policy);
        if (!text)
            return;
        notes.where = rule.key_where == "subj" ? "subject" : "text";
        notes.trigger = rule.keystr;
        notes.sought = has_content();
        if (const std::optional<TriggerFacts>& found = notes.facts.trigger)
            notes.found = place_in(notes.where, "line", *text, *found);
        else if (notes.sought)
            notes.elsewhere = texts_.places_of(rule.keystr);
    }

    Run& run_;
    const std::vector<RuleFacts> reached_;
    bool has_mail_;
    MailTexts texts_;
};

/// The reply that is to be kept, of a rule that does not answer.
void keep_reply(const ResponderRule& rule, Run& run) {
    run.account.begin_rule(rule.id);
    try {
        send_reply(rule, run);
    } catch (const orvek::idn::IdnaError&) {
        // Then there is none.
    }
}

/// Nothing of what is said now would be said by a run.
void take_notes(const std::optional<DwString>& mail, Run& run, std::vector<RuleNotes>& rules) {
    const Listening unheard([](std::string_view) {});
    NoteTaker notes(mail, run);
    std::optional<ResponderRule> kept;
    Rules all(run);
    while (const std::optional<ResponderRule> rule = all.next()) {
        rules.push_back(notes.take(*rule, rules.size()));
        if (rule->id == run.kept_rule)
            kept = rule;
    }
    if (kept && !run.kept_reply && !run.reading.mail.from.empty())
        keep_reply(*kept, run);
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
    if (told.stopped || (!account.refusal.empty() && account.mailbox))
        return account.refusal;
    if (!account.mailbox && !told.surroundings.switched_off_alias_of.empty())
        return "the mail of the alias domain is switched off";
    if (!account.mailbox)
        return told.surroundings.domain_known ? "no such mailbox" : "no such domain";
    return told.replies > 0 ? "" : reason_of_rules(told);
}

} // namespace

Explanation explain(const std::string& recipient, const std::optional<DwString>& mail, Run& run) {
    static const int registered = std::atexit(pass_on_at_exit);
    static_cast<void>(registered);
    const Listening listening([&run](std::string_view message) {
        said.push_back({shortened(message, most_of_message), run.account.rules.size()});
    });
    Explanation told(run);
    told.host = host_facts(run.policy);
    told.has_mail = mail.has_value();
    set_recipient(recipient, &run.reading.mail);
    told.stopped = mail && !read_mail(*mail, recipient, run);
    if (told.stopped) { // which was said last
        run.account.refusal = said.back().message;
        said.pop_back();
    }
    told.complaints = said_at(0);
    if (mail && !told.stopped) {
        run_over(run);
        told.complaints = said_at(0);
    } else {
        open_panel_database(run);
        find_mailbox(run);
    }
    if (run.account.mailbox)
        take_notes(mail, run, told.rules);
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
