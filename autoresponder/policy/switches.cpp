#include "autoresponder/policy/switches.h"

#include "lib/autoprepend.h"

#include <cstring>

namespace {

bool switched_on(const char* variable, bool otherwise) {
    const char* const value = ovkConfGet(variable);
    return value == nullptr ? otherwise : std::strcmp(value, "true") == 0;
}

/// Anything but one character counts as none.
char delimiter() {
    const char* const value = ovkConfGet("AUTORESPONDER_RECIPIENT_DELIMITER");
    return value != nullptr && std::strlen(value) == 1 ? *value : '\0';
}

} // namespace

Policy configured_policy() {
    const bool modern = switched_on("AUTORESPONDER_MODERN", false);
    const bool as_shown = switched_on("AUTORESPONDER_READ_AS_SHOWN", modern);
    return {switched_on("AUTORESPONDER_REFUSE_AUTOMATIC", modern),
            switched_on("AUTORESPONDER_REPLY_HEADERS", modern),
            switched_on("AUTORESPONDER_NULL_SENDER", modern),
            switched_on("AUTORESPONDER_STANDARD_MAIL", modern),
            switched_on("AUTORESPONDER_LOG", modern),
            switched_on("AUTORESPONDER_ADDRESSED_ONLY", modern),
            as_shown,
            as_shown && switched_on("AUTORESPONDER_IGNORE_CASE", false),
            delimiter()};
}
