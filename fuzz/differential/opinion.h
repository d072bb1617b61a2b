// What a parser makes of a message, in the terms that a run of the program depends on.
#pragma once

#include <string>

struct Opinion {
    /// Address of the first usable mailbox of Reply-To, else of From; empty when there is none.
    std::string sender;
    /// Subject as written, without blanks in front and white space at the end.
    std::string subject;
    /// Charset of the chosen part; US-ASCII without one.
    std::string charset;
    /// Text of the chosen part: as it stands in the message, and without its transfer encoding.
    std::string part, body;
};

/// By mimelib and the intake.
Opinion our_opinion(const std::string& message);

/// By GMime.
Opinion gmime_opinion(const std::string& message);
