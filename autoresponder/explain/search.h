// Where a trigger occurs in a mail: in the place where it is sought, and in all others.
#pragma once

#include "autoresponder/deciding/rules.h"
#include "autoresponder/explain/explanation.h"
#include "mimelib/mimelib.h"

#include <utility>
#include <vector>

/// The line around an occurrence, cut where it is long.
PlaceFacts place_in(std::string where, const char* unit, const Occurrence& occurrence);

/// All texts of one mail, whatever part they stand in: HTML, parts within parts, attachments and
/// forwarded mails as well.
class MailTexts {
public:
    /// `message` is the whole mail, and is looked at when the first trigger is sought; `reading` is
    /// what the program makes of it.
    MailTexts(DwString message, const Reading& reading)
        : message_(std::move(message)), reading_(reading) {}

    /// The first places where `trigger` occurs as a person reads, whatever the case of letters: in
    /// the subject, in the text that triggers are sought in, in the other parts. At most five.
    std::vector<PlaceFacts> places_of(const std::string& trigger);

private:
    struct Text {
        std::string where;
        std::string paragraphs;
        bool is_own;
    };
    void read();

    DwString message_;
    const Reading& reading_;
    bool read_ = false;
    std::vector<Text> texts_;
};
