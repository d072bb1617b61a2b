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

/// From 1 to `most`; anything else counts as `otherwise`.
int number(const char* variable, int most, int otherwise) {
    const char* const value = ovkConfGet(variable);
    const std::string_view text = value == nullptr ? "" : value;
    int read = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), read);
    const bool is_whole = end.ec == std::errc() && end.ptr == text.data() + text.size();
    return is_whole && read >= 1 && read <= most ? read : otherwise;
}

/// A number instead of "true" is the status.
int status_for_retry(bool modern) {
    const char* const variable = "AUTORESPONDER_RETRY_LATER";
    return switched_on(variable, modern) ? EX_TEMPFAIL : number(variable, 255, 0);
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
            status_for_retry(modern),
            number("AUTORESPONDER_RETRY_HOURS", 1'000'000, 24),
            switched_on("AUTORESPONDER_STOP_CIRCLES", modern)};
}
