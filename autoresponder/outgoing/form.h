// How what leaves the host is written: as the panel has it or, where the host chooses standard
// mail, as today's standards ask for it.
#pragma once

#include "autoresponder/run/switches.h"

#include <string>
#include <vector>

/// The text of a reply as it goes out.
struct OutgoingText {
    std::string body;
    std::string charset;
    /// Content-Transfer-Encoding: "8bit", or "quoted-printable" for what could not travel so.
    const char* encoding = "8bit";
};

/// The one that the host has chosen.
class Form {
public:
    explicit Form(const Policy& policy)
        : is_standard_(policy.standard_mail), has_delimiter_(policy.recipient_delimiter != '\0') {}

    /// What sendmail is told in front of "-f".
    std::vector<const char*> sendmail_options() const;

    /// The mailbox's own address with its domain in ASCII form. In standard mail a local part that
    /// is no dot-atom is quoted (RFC 5321); else, without a recipient delimiter, it goes through
    /// IDN with the domain's first label. Throws orvek::idn::IdnaError for one that has no such
    /// form.
    std::string own_address(const std::string& address) const;

    /// The address as envelope sender of what is forwarded.
    std::string forward_sender(const std::string& address) const;

    /// "From" of the short reply, out of the recipient and its own address.
    const std::string& short_from(const std::string& recipient, const std::string& own) const;

    /// "Reply-To: " and the rule's value in one or more lines, each ended by a line feed; empty for
    /// a rule without one.
    std::string reply_to_lines(const std::string& reply_to) const;

    /// The header of short replies and notices up to the value of their Subject, `addresses` in it
    /// as it is: lines, each ended by a line feed.
    std::string short_head(const std::string& reply_to, const std::string& addresses) const;

    /// The value of a Subject field.
    std::string subject_value(const std::string& subject) const;

    /// Parameters of Content-Disposition that name an attached file, from the semicolon on.
    std::string file_name_parameters(const std::string& name) const;

    /// `text`, which is UTF-8, in `charset`; as it is where that charset cannot express it, or, in
    /// standard mail, would hide the lines around the text.
    OutgoingText text(const std::string& text, const std::string& charset) const;

private:
    bool is_standard_;
    bool has_delimiter_;
};
