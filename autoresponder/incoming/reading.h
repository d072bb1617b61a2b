// What the intake makes of a message: values only, none of which needs the message any more, so
// that they can be handed on, to another process as well.
#pragma once

#include "autoresponder/incoming/header_facts.h"
#include "autoresponder/incoming/mail_content.h"

#include <string>

/// Where a text stands in a mail, and as what.
struct PartPlace {
    /// "1", of parts within parts "2.1"; empty for the mail itself.
    std::string number;
    /// Content-Type and Content-Transfer-Encoding, as written; empty without one.
    std::string type;
    std::string encoding;
    /// Whether there is such a part at all.
    bool exists = false;
};

struct Reading {
    Mail_content mail;
    HeaderFacts facts;
    /// Name of the field that the sender stands in.
    std::string sender_field;
    /// Where the text stands that `mail` has the lines of.
    PartPlace text;
};
