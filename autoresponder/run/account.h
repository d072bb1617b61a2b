// What a run has found out and done: plain values, filled by the stages where they decide. The line
// in the system log and both forms of an explanation are written from it.
#pragma once

#include "base/text.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

/// The mailbox as the database spells it.
struct ResolvedMailbox {
    /// mail.id, as text: it goes unquoted into statements.
    std::string id;
    /// mail.mail_name: the mailbox's own name, also when an alias led here.
    std::string mail_name;
    /// domains.name: the mailbox's own domain, also when a domain alias led here.
    std::string domain_name;
    /// Folder of the files that its rules may attach; need not exist. No "/" at the end.
    std::string attachments_dir;

    /// Its own address, whichever name led here.
    std::string address() const { return concat({mail_name, "@", domain_name}); }
    /// The same as a header can hold it.
    std::string mark() const { return escaped(address(), "\\x", is_printable); }
};

struct LookupFacts {
    const char* what = "";
    std::string address;
    bool found = false;
};

/// Where a trigger was found, in bytes, in the text that it was sought in.
struct TriggerFacts {
    std::size_t offset = 0;
    std::size_t length = 0;
};

/// How a rule's bookkeeping stands for one sender.
struct LimiterVerdict {
    /// That the limit is for.
    int days = 1;
    /// Answers that the sender has had today; none when the rule does not remember the sender.
    std::optional<std::int32_t> answers;
    std::int32_t most_answers = 0;
    /// Senders that the rule remembers.
    std::int32_t senders = 0;
    std::int32_t most_senders = 0;
    /// When the count began; empty where nothing is counted. Where the run only tells.
    std::string since;
    /// Those whose place this one would take, where the run only tells.
    std::vector<std::string> evicted;

    bool allows() const { return most_answers > 0 && (!answers || *answers < most_answers); }
    /// Whether the oldest senders make room for this one.
    bool evicts() const { return allows() && !answers && senders >= most_senders; }
};

struct NoticeFacts {
    std::string envelope_sender;
    std::string recipient;
};

struct ReplyFacts {
    std::uint64_t size = 0;
    std::uint64_t limit = 0;
    /// Whether a short one goes out in place of the reply, which is larger than that or, where mail
    /// is tried again, than the file system.
    bool oversize = false;
    std::string envelope_sender;
    std::string recipient;
};

/// What comes of a rule, as word_of has it.
enum class Outcome {
    /// Without a mail: whether it is on.
    on,
    off,
    /// Its time has yet to begin, or is over.
    outside,
    no_match,
    limit_reached,
    refused,
    answered,
    failed,
    /// The run ends before it.
    not_reached,
};

/// In words: "limit reached".
constexpr const char* word_of(Outcome outcome) {
    constexpr const char* words[] = {"on",       "off",           "not in its time",
                                     "no match", "limit reached", "refused",
                                     "answered", "failed",        "not reached"};
    static_assert(std::size(words) == static_cast<std::size_t>(Outcome::not_reached) + 1);
    return words[static_cast<std::size_t>(outcome)];
}

/// A rule that the run has come to.
struct RuleFacts {
    std::string id;
    Outcome outcome = Outcome::failed;
    std::optional<TriggerFacts> trigger;
    std::optional<LimiterVerdict> limit;
    /// Whom the mail is forwarded to.
    std::vector<std::string> forwards;
    /// The notice about missing files.
    std::optional<NoticeFacts> notice;
    std::optional<ReplyFacts> reply;
};

struct Account {
    /// Why nobody gets an answer to the mail, in words; empty when somebody may.
    std::string refusal;
    /// In order, up to the one that found the mailbox.
    std::vector<LookupFacts> lookups;
    std::optional<ResolvedMailbox> mailbox;
    /// In the server's order.
    std::vector<RuleFacts> rules;
    /// Whether the run has come to the end of its rules.
    bool completed = false;

    void begin_rule(const std::string& id) { rules.emplace_back().id = id; }
    /// The rule that the run is at.
    RuleFacts& rule() { return rules.back(); }
};
