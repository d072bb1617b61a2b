#include "autoresponder/policy/switches.h"

#include "lib/autoprepend.h"

#include <cstring>

namespace {

bool is_on(const char* variable, bool otherwise) {
    const char* const value = ovkConfGet(variable);
    return value == nullptr ? otherwise : std::strcmp(value, "true") == 0;
}

} // namespace

Policy configured_policy() {
    const bool modern = is_on("AUTORESPONDER_MODERN", false);
    return {is_on("AUTORESPONDER_REFUSE_AUTOMATIC", modern),
            is_on("AUTORESPONDER_REPLY_HEADERS", modern),
            is_on("AUTORESPONDER_NULL_SENDER", modern),
            is_on("AUTORESPONDER_STANDARD_MAIL", modern), is_on("AUTORESPONDER_LOG", modern)};
}
