// What the host's choices need to know of the incoming message's header, beyond the fields that
// every run needs.
#pragma once

#include "autoresponder/run/switches.h"

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

class DwHeaders;

/// Names the mailbox that a mail has been forwarded by.
inline constexpr std::string_view forward_mark = "X-Autoresponder-Forwarded";

/// Identity of a message and of those that it answers. Every msg-id is of the strict syntax.
struct MailThread {
    /// Message-ID; empty when there is none that can be used, and so no thread.
    std::string message_id;
    /// What goes in front of it in the References of an answer: msg-ids, a blank behind each.
    std::string references;
};

struct HeaderFacts {
    /// Why the header says that no person wrote this mail; empty for an ordinary one.
    std::string automatic;
    /// Why the header says that it is a bounce; empty for any other mail.
    std::string bounce;
    /// The addresses of To, Cc, Resent-To and Resent-Cc, a NUL behind each (destinations.h); empty
    /// where the host does not ask for them.
    std::string destinations;
    /// From Message-ID, References and In-Reply-To.
    MailThread thread;
    /// The mailboxes that forward_mark names, a NUL behind each.
    std::string forwarded_by;
    /// When the mail came in, by its topmost Received.
    std::optional<std::time_t> received;
};

/// Reads them in one pass over the header.
HeaderFacts read_header_facts(const DwHeaders& headers, const Policy& policy);
