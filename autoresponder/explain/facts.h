// What an explanation has found out: plain values, for whoever prints them.
#pragma once

#include "autoresponder/deciding/mailbox.h"
#include "autoresponder/incoming/text_part.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct MailFacts {
    /// Without a mail only mailbox and rules are explained.
    bool given = false;
    /// Empty when the mail names none that can be used; nothing else is then known.
    std::string sender;
    /// The field that it stands in.
    std::string sender_field;
    /// Decoded.
    std::string subject;
    std::string date;
    PartPlace text;
    std::string charset;
    /// Up to the last one that is not empty.
    std::size_t lines = 0;
    /// What was said about the mail while it was read.
    std::vector<std::string> complaints;
    /// Why nobody gets an answer to it, in words; empty when somebody may.
    std::string refusal;
    /// Whether no rule is looked at at all, so that it is not forwarded either.
    bool stopped = false;
};

struct LookupFacts {
    const char* what = "";
    std::string address;
    bool found = false;
};

struct MailboxFacts {
    std::string recipient;
    /// In order, up to the one that found it.
    std::vector<LookupFacts> lookups;
    std::optional<ResolvedMailbox> found;
    /// When it was not found: whether the panel has the domain, under its own name or as another's
    /// alias; the domains that have it as an alias whose mail is switched off; mailboxes and
    /// aliases with nearly that name.
    bool domain_known = true;
    std::vector<std::string> switched_off_alias_of;
    std::vector<std::string> nearest;
};

/// Where a trigger occurs: a piece of the line.
struct PlaceFacts {
    /// "subject", "text", "part 2.1 (text/html)".
    std::string where;
    /// What is counted: a part that is not searched by the rule is laid out in paragraphs.
    const char* unit = "line";
    /// From 1 on.
    std::size_t number = 1;
    std::string before;
    std::string match;
    std::string after;
};

struct TriggerFacts {
    /// "subject" or "text"; empty for a rule without a trigger.
    std::string where;
    std::string text;
    std::optional<PlaceFacts> found;
    /// When it is not found: where it occurs all the same, whatever case and white space.
    std::vector<PlaceFacts> elsewhere;
};

struct LimitFacts {
    bool allows = false;
    /// Answers that the sender has had today, and the most that one gets.
    std::int64_t answers = 0;
    std::int64_t most_answers = 0;
    /// Senders that the rule remembers today, and the most that it does.
    std::int64_t senders = 0;
    std::int64_t most_senders = 0;
    /// Those whose place the sender would take.
    std::vector<std::string> evicted;
};

struct AttachmentFacts {
    std::string name;
    bool missing = false;
    /// In bytes, when it can be read.
    std::optional<std::uint64_t> size;
    /// Why it cannot be read, or why it counts as missing.
    std::string problem;
};

struct NoticeFacts {
    std::string envelope_sender;
    std::string recipient;
};

struct ReplyFacts {
    std::uint64_t size = 0;
    std::uint64_t limit = 0;
    /// Whether a short one goes out in place of the reply, which is larger than that.
    bool oversize = false;
    std::string envelope_sender;
    std::string recipient;
};

enum class Outcome {
    /// Without a mail: whether it is on.
    on,
    off,
    no_match,
    limit_reached,
    refused,
    answered,
    /// The run ends in the rule, or has before it.
    failed,
    not_reached,
};

struct RuleFacts {
    std::string id;
    bool on = false;
    std::string answers_a_day;
    std::string senders_remembered;
    TriggerFacts trigger;
    /// Known where there is a mail with a sender.
    std::optional<LimitFacts> limit;
    std::vector<std::string> forwards;
    std::vector<AttachmentFacts> attachments;
    std::optional<NoticeFacts> notice;
    std::optional<ReplyFacts> reply;
    /// What the program would say while it worked on the rule.
    std::vector<std::string> complaints;
    Outcome outcome = Outcome::on;
};

struct Explanation {
    MailFacts mail;
    MailboxFacts mailbox;
    std::vector<RuleFacts> rules;
    std::size_t replies = 0;
    std::size_t forwards = 0;
    std::size_t notices = 0;
    /// Why what is sent goes nowhere; empty when nothing is known.
    std::string sendmail_problem;
    /// Why there is no reply, in words; empty when there is one, and without a mail when there may
    /// be one.
    std::string no_reply;
};
