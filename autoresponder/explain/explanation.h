// What the program would do with a mail, and why: the account of a run that only tells, and what
// only a person asks beyond it.
#pragma once

#include "autoresponder/deciding/context.h"
#include "autoresponder/deciding/rules.h"
#include "cell/cell.h"
#include "mimelib/mimelib.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// A piece of a line, where a trigger occurs.
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

struct AttachmentFacts {
    std::string name;
    bool missing = false;
    /// In bytes, when it can be read.
    std::optional<std::uint64_t> size;
    /// Why it cannot be read, or why it counts as missing.
    std::string problem;
};

struct RuleNotes {
    /// As the table has it.
    ResponderRule row;
    /// What the run has found out, and what it would have, had it come to that.
    RuleFacts facts;
    /// Where the trigger is sought: "subject" or "text"; empty for a rule without one.
    std::string where;
    std::optional<PlaceFacts> found;
    /// When it is not found: where it occurs all the same, whatever case and white space.
    std::vector<PlaceFacts> elsewhere;
    std::vector<AttachmentFacts> attachments;
    /// Columns that do not mean what they look like.
    std::vector<std::string> remarks;
    /// What was said while the run was at the rule.
    std::vector<std::string> complaints;
};

struct HostFile {
    const char* path;
    /// Why it cannot be read; empty where it can.
    std::string problem;
    /// No failure: there is none.
    bool is_missing = false;
};

struct HostFacts {
    /// As whom the program looks: by name, or by number without one.
    std::string user;
    /// Who may read what deliveries, which do not run as root, may not.
    bool is_root = false;
    std::vector<HostFile> files;
    /// The variables that are in force, with their values where those are no "true".
    std::vector<std::string> switches;
};

/// What there is when a mailbox is not found.
struct Surroundings {
    /// Whether the panel has the domain, under its own name or as another's alias.
    bool domain_known = true;
    /// The domains that have it as an alias whose mail is switched off.
    std::vector<std::string> switched_off_alias_of;
    /// Mailboxes and aliases with nearly that name.
    std::vector<std::string> nearest;
    /// The delimiter that the host has not chosen, where without its extension the name would be
    /// one of those; else empty.
    std::string delimiter;
};

struct Explanation {
    explicit Explanation(const Run& telling) : run(telling) {}

    /// The mail, as far as it could be read, and what came of it.
    const Run& run;
    HostFacts host;
    /// Without a mail only mailbox and rules are explained.
    bool has_mail = false;
    /// What was said before the run came to a rule.
    std::vector<std::string> complaints;
    Surroundings surroundings;
    std::vector<RuleNotes> rules;
    std::size_t replies = 0;
    std::size_t forwards = 0;
    std::size_t notices = 0;
    /// Why what is sent goes nowhere; empty when nothing is known.
    std::string sendmail_problem;
    /// What holds where a mail is read.
    std::vector<cell::Confinement> confinements;
    /// Why there is no reply, in words; empty when there is one, and without a mail when there may
    /// be one.
    std::string no_reply;

    /// Whether there is a mail that could be read.
    bool has_content() const { return !run.reading.mail.from.empty(); }
};

/// Has the program run over the mail without acting, and adds to its account. `mail` has a line
/// feed more, as the intake takes it; without one mailbox and rules alone are told. Only selects
/// are sent, in a transaction that cannot write. A failed statement ends the process through
/// give_up; what was said by then goes to standard error.
Explanation explain(const std::string& recipient, const std::optional<DwString>& mail, Run& run);

/// The type of the mail's text without its parameters.
std::string type_of(const PartPlace& text);

/// How many lines the mail's text has, up to the last one that is not empty.
std::size_t filled_lines(const Mail_content& mail);
