// The part of a mail that a mail program would show, as text.
#pragma once

#include "autoresponder/incoming/reading.h"
#include "autoresponder/run/switches.h"
#include "mimelib/mimelib.h"
#include "reading/letters.h"
#include "reading/shown_charset.h"

#include <optional>
#include <string>

/// How the sender says that plain text is laid out.
struct LineFormat {
    /// format=flowed
    bool flowed = false;
    /// DelSp=yes: the blank that a flowed line ends in is not part of the text
    bool del_space = false;
};

struct PartText {
    /// The part's text in UTF-8, of HTML what is visible; empty when no part gives one.
    std::string text;
    /// The part's charset as written; "US-ASCII" without one.
    std::string charset;
    /// How plain text is laid out; none for HTML.
    std::optional<LineFormat> lines;
    PartPlace place;
};

PartPlace place_of(const DwEntity& entity, std::string number);

/// What is to be seen of the entity as a text, whatever its type says; nothing is passed over.
PartText shown_entity(const DwEntity& entity, orvek::ShownCharsets& charsets);

/// The first part that gives a text, multiparts within multiparts included: of alternatives plain
/// text before HTML and that before others, of a digest none. Attachments and forwarded messages
/// are passed over, a part without a type is plain text. Of nested multiparts the outer 16 are
/// entered, and 10,000 parts looked at.
PartText shown_text(const DwMessage& message);

/// How the host wants letters to be compared.
orvek::Case case_of(const Policy& policy);

/// The text of the part as triggers are compared with it: a line for each paragraph.
std::string paragraphs_of(const PartText& part, orvek::Case letters);
