#include "autoresponder/policy/switches.h"

#include "lib/autoprepend.h"

#include <cstring>

namespace {

bool is_on(const char* variable) {
    const char* const value = ovkConfGet(variable);
    return value != nullptr && std::strcmp(value, "true") == 0;
}

} // namespace

Policy configured_policy() {
    return {is_on("AUTORESPONDER_REFUSE_AUTOMATIC"), is_on("AUTORESPONDER_REPLY_HEADERS"),
            is_on("AUTORESPONDER_NULL_SENDER")};
}
