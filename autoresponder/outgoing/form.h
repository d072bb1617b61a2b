// The pieces of outgoing mail that the host's choice of standard mail changes: each as the panel
// has it, or as today's standards ask for it.
#pragma once

#include "autoresponder/run/switches.h"

#include <string>

/// The mailbox's own address with its domain in ASCII form. With standard mail a local part that is
/// no dot-atom is quoted (RFC 5321); without, and without a recipient delimiter, it goes through
/// IDN with the domain's first label. Throws orvek::idn::IdnaError for one that has no such form.
std::string own_address(const std::string& address, const Policy& policy);

/// "Reply-To: " and the rule's value in one or more lines, each ended by a line feed; empty for a
/// rule without one.
std::string reply_to_lines(const std::string& reply_to, const Policy& policy);

/// The value of a Subject field.
std::string subject_value(const std::string& subject, const Policy& policy);

/// Parameters of Content-Disposition that name an attached file, from the semicolon on.
std::string file_name_parameters(const std::string& name, const Policy& policy);

/// The text of a reply as it goes out.
struct OutgoingText {
    std::string body;
    std::string charset;
    /// Content-Transfer-Encoding: "8bit", or "quoted-printable" for what could not travel so.
    const char* encoding = "8bit";
};

/// `text`, which is UTF-8, in `charset`; as it is where that charset cannot express it, or, with
/// standard mail, would hide the lines around the text.
OutgoingText outgoing_text(const std::string& text, const std::string& charset,
                           const Policy& policy);
