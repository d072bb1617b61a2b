#include "autoresponder/incoming/header_facts.h"

#include "autoresponder/incoming/automatic.h"
#include "autoresponder/incoming/destinations.h"
#include "autoresponder/incoming/thread.h"
#include "base/text.h"
#include "mimelib/mimelib.h"

#include <cstring>
#include <utility>

namespace {

bool is_destination(std::string_view name) {
    return name == "to" || name == "cc" || name == "resent-to" || name == "resent-cc";
}

/// The time that stands behind the last ";" (RFC 5322 section 3.6.7).
std::optional<std::time_t> time_of(std::string_view received) {
    const std::string text(received.substr(received.rfind(';') + 1));
    const char* const after_day = std::strchr(text.c_str(), ',');
    std::tm time = {};
    if (strptime(after_day == nullptr ? text.c_str() : after_day + 1, " %d %b %Y %H:%M:%S %z",
                 &time) == nullptr)
        return std::nullopt;
    const long offset = time.tm_gmtoff; // timegm forgets it
    return timegm(&time) - offset;
}

} // namespace

HeaderFacts read_header_facts(const DwHeaders& headers, const Policy& policy) {
    HeaderFacts facts;
    std::string_view id, parent;
    std::optional<std::string_view> references;
    bool is_dated = false;
    for (DwFieldReader field(headers.AsString().view()); field.Next();) {
        const std::string name = to_lower(field.Name());
        if (facts.automatic.empty())
            facts.automatic = automatic_sign(name, field.Body());
        if (facts.bounce.empty())
            facts.bounce = bounce_sign(name, field.Body());
        if (policy.addressed_only && is_destination(name))
            facts.destinations += addresses_of(field.Body());
        if (equals_ignoring_case(name, forward_mark))
            facts.forwarded_by.append(trim(field.Body(), " \t\r\n")).append(1, '\0');
        if (name == "received" && !std::exchange(is_dated, true))
            facts.received = time_of(field.Body());
        if (name == "message-id" && id.empty())
            id = field.Body();
        if (name == "references")
            references = field.Body();
        if (name == "in-reply-to")
            parent = field.Body();
    }
    facts.thread = thread_of(id, references, parent);
    return facts;
}
