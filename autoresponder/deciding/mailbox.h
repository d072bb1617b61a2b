// Mailbox resolution: finds the mailbox that the recipient address denotes, directly, through a
// mailbox alias, through a domain alias, or through both.
#pragma once

#include "autoresponder/incoming/mail_content.h"
#include "autoresponder/run/switches.h"
#include "base/owned.h"
#include "lib/mysql_owned.h"

#include <optional>
#include <string>
#include <vector>

/// The two halves of the recipient, escaped for a quoted SQL literal. Escaped before there is a
/// connection, so that the connection's character set plays no part in it.
struct EscapedRecipient {
    /// Mail_content.domain; zero-terminated, never null.
    MallocedText domain;
    /// Mail_content.mailname; zero-terminated, never null.
    MallocedText mailname;
};

/// The mailbox as the database spells it. Lives for the whole responder run.
struct ResolvedMailbox {
    /// mail.id, as text: it goes unquoted into statements.
    std::string id;
    /// mail.mail_name: the mailbox's own name, also when an alias led here.
    std::string mail_name;
    /// domains.name: the mailbox's own domain, also when a domain alias led here.
    std::string domain_name;
    /// Folder of the files that its rules may attach; need not exist. No "/" at the end.
    std::string attachments_dir;
};

/// The lookups, in the order in which they are tried.
enum class Lookup { mailbox, alias, mailbox_of_alias_domain, alias_of_alias_domain };

struct FoundMailbox {
    ResolvedMailbox mailbox;
    /// The first one that found it.
    Lookup lookup;
};

/// The address that a round of lookups is for.
struct AddressTried {
    std::string mailname;
    std::string domain;
};

/// Escapes both halves. Without memory the process ends through give_up, with a message.
EscapedRecipient escape_recipient(const Mail_content& mail);

/// Escapes both halves anew where the server's mode gives a backslash no meaning
/// (NO_BACKSLASH_ESCAPES), as the status of the connection tells: what escape_recipient put in
/// front of a quote would there end the literal. To be called before the first lookup.
void adapt_escaping(MYSQL* connection, const Mail_content& mail, EscapedRecipient& recipient);

/// A local part without the first delimiter and what follows it, or as it is where nothing would be
/// left.
std::string without_extension(const std::string& local_part, char delimiter);

/// Looks the recipient up on an open connection; the first of the four lookups that finds a row
/// decides. When none does, all are tried once more as far as the host chooses: with the domain in
/// its other form, and, each time, without the extension that the host's delimiter begins. None for
/// an unknown mailbox. A failed lookup ends the process through give_up, with its message on
/// standard error. The addresses are appended to `tried`, unless that is null: the last of them was
/// found, if any.
std::optional<FoundMailbox> find_mailbox(MYSQL* connection, const Mail_content& mail,
                                         const EscapedRecipient& recipient, const Policy& policy,
                                         std::vector<AddressTried>* tried = nullptr);

/// The same for a run that acts: an unknown mailbox ends it through correct_exit.
ResolvedMailbox resolve_mailbox(MYSQL* connection, const Mail_content& mail,
                                const EscapedRecipient& recipient, const Policy& policy);
