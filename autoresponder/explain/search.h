// Where a trigger occurs in a mail: in the place where it is sought, and in all others.
#pragma once

#include "autoresponder/explain/explanation.h"
#include "mimelib/mimelib.h"

#include <string>
#include <string_view>
#include <vector>

/// The line of `text` around what was found in it, cut where it is long.
PlaceFacts place_in(std::string where, const char* unit, std::string_view text,
                    const TriggerFacts& found);

struct MailText {
    std::string where;
    const char* unit;
    std::string text;
    /// Whether it is the text that triggers are sought in, or the part that this comes from.
    bool is_own;
    /// A line of letters, whatever their case, for each line of the text.
    std::string letters;
};

/// All texts of a mail, whatever part they stand in: HTML, parts within parts, attachments and
/// forwarded mails as well. `reading` is what the program makes of the mail; of one that breaks its
/// cell there is no more than that.
std::vector<MailText> texts_of(const DwString& mail, const Reading& reading);

/// The first places where `trigger` occurs, byte for byte or else as a person reads, whatever the
/// case of letters: in the subject, in the text that triggers are sought in, in the other parts. At
/// most five.
std::vector<PlaceFacts> places_of(const std::string& trigger, const std::vector<MailText>& texts);
