// How what leaves the host is written: as the panel has it or, where the host chooses standard
// mail, as today's standards ask for it.
#pragma once

#include "autoresponder/run/switches.h"

#include <string>
#include <string_view>
#include <vector>

/// The text of a reply as it goes out.
struct OutgoingText {
    std::string body;
    std::string charset;
    /// Content-Transfer-Encoding: "8bit", or "quoted-printable" for what could not travel so.
    const char* encoding = "8bit";
};

class Form {
public:
    virtual ~Form() = default;

    /// What sendmail is told in front of "-f".
    virtual std::vector<const char*> sendmail_options() const = 0;

    /// The mailbox's own address with its domain in ASCII form. In standard mail a local part that
    /// is no dot-atom is quoted (RFC 5321); else, without a recipient delimiter, it goes through
    /// IDN with the domain's first label. Throws orvek::idn::IdnaError for one that has no such
    /// form.
    virtual std::string own_address(const std::string& address) const = 0;

    /// The address as envelope sender of what is forwarded.
    virtual std::string forward_sender(const std::string& address) const = 0;

    /// "From" of the short reply, out of the recipient and its own address.
    virtual const std::string& short_from(const std::string& recipient,
                                          const std::string& own) const = 0;

    /// The line in front of the Subject of short replies and notices.
    virtual const char* line_before_subject() const = 0;

    /// "Reply-To: " and the rule's value in one or more lines, each ended by a line feed; empty for
    /// a rule without one.
    std::string reply_to_lines(const std::string& reply_to) const;

    /// The value of a Subject field.
    virtual std::string subject_value(const std::string& subject) const = 0;

    /// Parameters of Content-Disposition that name an attached file, from the semicolon on.
    virtual std::string file_name_parameters(const std::string& name) const = 0;

    /// `text`, which is UTF-8, in `charset`; as it is where that charset cannot express it, or, in
    /// standard mail, would hide the lines around the text.
    virtual OutgoingText text(const std::string& text, const std::string& charset) const = 0;

private:
    virtual std::string reply_to_value(const std::string& reply_to) const = 0;
};

/// The one that the host has chosen.
const Form& form_of(const Policy& policy);
