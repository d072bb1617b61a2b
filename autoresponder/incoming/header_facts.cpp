#include "autoresponder/incoming/header_facts.h"

#include "autoresponder/incoming/automatic.h"
#include "autoresponder/incoming/thread.h"
#include "base/text.h"
#include "mimelib/mimelib.h"

#include <algorithm>
#include <array>

namespace {

bool is_destination(std::string_view name) {
    constexpr std::array<std::string_view, 4> names = {"to", "cc", "resent-to", "resent-cc"};
    return std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace

HeaderFacts read_header_facts(const DwHeaders& headers) {
    HeaderFacts facts;
    ThreadFields thread;
    for (DwFieldReader field(headers.AsString().view()); field.Next();) {
        const std::string name = to_lower(field.Name());
        if (facts.automatic.empty())
            facts.automatic = automatic_sign(name, field.Body());
        if (facts.bounce.empty())
            facts.bounce = bounce_sign(name, field.Body());
        if (is_destination(name))
            facts.destinations.append(field.Body()).append(1, '\0');
        thread.take(name, field.Body());
    }
    facts.thread = thread.thread();
    return facts;
}
