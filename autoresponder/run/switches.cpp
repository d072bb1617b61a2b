#include "autoresponder/run/switches.h"

#include "autoresponder/run/number.h"
#include "base/text.h"
#include "lib/autoprepend.h"

#include <cstring>
#include <sysexits.h>

namespace {

constexpr char recipient_delimiter[] = "AUTORESPONDER_RECIPIENT_DELIMITER";
constexpr char retry_later[] = "AUTORESPONDER_RETRY_LATER";
constexpr char retry_hours[] = "AUTORESPONDER_RETRY_HOURS";

bool switched_on(const char* variable, bool otherwise) {
    const char* const value = ovkConfGet(variable);
    return value == nullptr ? otherwise : std::strcmp(value, "true") == 0;
}

int number(const char* variable, int most, int otherwise) {
    const char* const value = ovkConfGet(variable);
    return number_up_to(most, value == nullptr ? "" : value, otherwise);
}

struct Switch {
    const char* variable;
    bool Policy::*value;
    /// Whether it goes by AUTORESPONDER_MODERN.
    bool is_modern = true;
};

constexpr Switch switches[] = {
    {"AUTORESPONDER_REFUSE_AUTOMATIC", &Policy::refuse_automatic},
    {"AUTORESPONDER_REPLY_HEADERS", &Policy::reply_headers},
    {"AUTORESPONDER_NULL_SENDER", &Policy::null_sender},
    {"AUTORESPONDER_STANDARD_MAIL", &Policy::standard_mail},
    {"AUTORESPONDER_LOG", &Policy::log},
    {"AUTORESPONDER_ADDRESSED_ONLY", &Policy::addressed_only},
    {"AUTORESPONDER_READ_AS_SHOWN", &Policy::read_as_shown},
    {"AUTORESPONDER_STOP_CIRCLES", &Policy::stop_circles},
    {"AUTORESPONDER_IGNORE_CASE", &Policy::ignore_case, false},
    {"AUTORESPONDER_SCHEDULE", &Policy::schedule, false},
};

} // namespace

Policy configured_policy() {
    const bool modern = switched_on("AUTORESPONDER_MODERN", false);
    Policy policy;
    for (const auto& [variable, value, is_modern] : switches)
        policy.*value = switched_on(variable, modern && is_modern);
    policy.ignore_case = policy.ignore_case && policy.read_as_shown;
    // Anything but one character counts as none.
    const char* const delimiter = ovkConfGet(recipient_delimiter);
    if (delimiter != nullptr && std::strlen(delimiter) == 1)
        policy.recipient_delimiter = *delimiter;
    // A number instead of "true" is the status.
    policy.retry_status =
        switched_on(retry_later, modern) ? EX_TEMPFAIL : number(retry_later, 255, 0);
    policy.retry_hours = number(retry_hours, 1'000'000, policy.retry_hours);
    return policy;
}

std::vector<std::string> in_force(const Policy& policy) {
    std::vector<std::string> names;
    for (const auto& [variable, value, is_modern] : switches) {
        if (policy.*value)
            names.emplace_back(variable);
    }
    if (policy.recipient_delimiter != '\0')
        names.push_back(concat({recipient_delimiter, " ", {&policy.recipient_delimiter, 1}}));
    if (policy.retry_status != 0) {
        names.push_back(concat({retry_later, " ", std::to_string(policy.retry_status)}));
        names.push_back(concat({retry_hours, " ", std::to_string(policy.retry_hours)}));
    }
    return names;
}
