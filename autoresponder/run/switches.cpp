#include "autoresponder/run/switches.h"

#include "lib/autoprepend.h"

#include <charconv>
#include <cstring>
#include <string_view>
#include <sysexits.h>

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

/// A number from 1 to 255 instead of "true" is the status.
int status_for_retry(bool modern) {
    const char* const variable = "AUTORESPONDER_RETRY_LATER";
    if (switched_on(variable, modern))
        return EX_TEMPFAIL;
    const char* const value = ovkConfGet(variable);
    const std::string_view text = value == nullptr ? "" : value;
    unsigned char status = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), status);
    return read.ec == std::errc() && read.ptr == text.data() + text.size() ? status : 0;
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
            delimiter(),
            status_for_retry(modern)};
}
