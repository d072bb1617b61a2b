// Everything that the run knows about the incoming message.
#pragma once

#include "base/text.h"

#include <string>

/// Made empty by main, filled by parse_message, only read from then on. All texts are byte strings.
struct Mail_content {
    /// Sender: local part, "@" and domain of the first usable mailbox of Reply-To, else of From.
    /// No control characters, no display name, no comment. Never empty once filled.
    std::string from;
    /// For standard mail, sender() as orvek::idn::ascii_form has it; else empty.
    std::string ascii_sender;
    /// Recipient, exactly as RESP_RECIPIENT holds it; may be empty.
    std::string to;
    /// Part of `to` before its first "@"; all of `to` when there is none.
    std::string mailname;
    /// Part of `to` after its first "@"; all of `to` when there is none.
    std::string domain;
    /// Subject with its encoded words decoded to UTF-8; other bytes as they came, line breaks of a
    /// folded field included. Empty when the header is absent or cannot be decoded.
    std::string subject;
    /// Where mail is read as it is shown, the letters of that, as the body's; else empty.
    std::string subject_letters;
    /// Date header as written; empty when absent.
    std::string date;
    /// charset parameter of the part that supplied the body, as written; "US-ASCII" without one.
    std::string charset;
    /// Decoded body in UTF-8 (unconverted where that failed), its lines with line feeds between
    /// them; carriage returns stay in their lines. Where mail is read as it is shown, its
    /// paragraphs: their letters as orvek::Paragraphs gives them.
    std::string body;

    /// `from` as it is compared: without the dot that may stand behind a domain and changes
    /// nothing.
    std::string sender() const { return std::string(without_final_dot(from)); }
};
