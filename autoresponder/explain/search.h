// Where a trigger occurs in a mail: in the place where it is sought, and in all others.
#pragma once

#include "autoresponder/explain/explanation.h"
#include "mimelib/mimelib.h"

#include <string_view>
#include <utility>
#include <vector>

/// The line of `text` around what was found in it, cut where it is long.
PlaceFacts place_in(std::string where, const char* unit, std::string_view text,
                    const TriggerFacts& found);

/// All texts of one mail, whatever part they stand in: HTML, parts within parts, attachments and
/// forwarded mails as well.
class MailTexts {
public:
    /// `message` is the whole mail, and is looked at when the first trigger is sought; `reading` is
    /// what the program makes of it.
    MailTexts(DwString message, const Reading& reading)
        : message_(std::move(message)), reading_(reading) {}

    /// The first places where `trigger` occurs, byte for byte or else as a person reads, whatever
    /// the case of letters: in the subject, in the text that triggers are sought in, in the other
    /// parts. At most five.
    std::vector<PlaceFacts> places_of(const std::string& trigger);

private:
    struct Text {
        std::string where;
        const char* unit;
        std::string text;
        /// A line of letters for each line of it, whatever their case.
        std::string letters;
        /// Whether it is the text that triggers are sought in, or the part that this comes from.
        bool is_own;
    };
    static std::optional<PlaceFacts> place_of(const std::string& trigger,
                                              const std::string& letters, const Text& text);
    void add(std::string where, const char* unit, std::string text, bool is_own);
    void read();

    DwString message_;
    const Reading& reading_;
    bool read_ = false;
    std::vector<Text> texts_;
};
