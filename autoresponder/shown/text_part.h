// The part of a mail that a mail program would show, as text.
#pragma once

#include "mimelib/mimelib.h"

#include <string>

struct PartText {
    /// What is seen of the part, in UTF-8, an empty line between paragraphs; empty when no part
    /// gives a text.
    std::string text;
    /// The part's charset as written; "US-ASCII" without one.
    std::string charset;
};

/// The first part that gives a text, multiparts within multiparts included: of alternatives plain
/// text before HTML and that before others, of a digest none. Attachments and forwarded messages
/// are passed over, a part without a type is plain text. Of nested multiparts the outer 16 are
/// entered, and 10,000 parts looked at.
PartText shown_text(const DwMessage& message);
