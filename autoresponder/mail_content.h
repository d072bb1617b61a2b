// Everything that the run knows about the incoming message.
#pragma once

#include "autoresponder/text_lines.h"

#include <string>

/// Identity of a message and of those that it answers. Every msg-id is of the strict syntax.
struct MailThread {
    /// Message-ID; empty when there is none that can be used, and so no thread.
    std::string message_id;
    /// What goes in front of it in the References of an answer: msg-ids, a blank behind each.
    std::string references;
};

/// Made empty by main, filled by parse_message, only read from then on. All texts are byte strings.
struct Mail_content {
    /// Sender: local part, "@" and domain of the first usable mailbox of Reply-To, else of From.
    /// No control characters, no display name, no comment. Never empty once filled.
    std::string from;
    /// Recipient, exactly as RESP_RECIPIENT holds it; may be empty.
    std::string to;
    /// Part of `to` before its first "@"; all of `to` when there is none.
    std::string mailname;
    /// Part of `to` after its first "@"; all of `to` when there is none.
    std::string domain;
    /// Subject with its encoded words decoded to UTF-8; other bytes as they came, line breaks of a
    /// folded field included. Empty when the header is absent or cannot be decoded.
    std::string subject;
    /// Date header as written; empty when absent.
    std::string date;
    /// charset parameter of the part that supplied the body, as written; "US-ASCII" without one.
    std::string charset;
    /// Decoded body in UTF-8 (unconverted where that failed). At least one line once filled.
    TextLines body;

    // What only matters where the host chooses so (policy.h).

    /// Why the header says that no person wrote this mail; empty for an ordinary one.
    std::string automatic;
    /// From Message-ID, References and In-Reply-To.
    MailThread thread;
};
