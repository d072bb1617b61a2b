#include "autoresponder/incoming/destinations.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <string_view>

std::string read_destinations(const DwHeaders& headers) {
    static constexpr std::array<std::string_view, 4> names = {"to", "cc", "resent-to", "resent-cc"};
    std::string bodies;
    for (DwFieldReader field(headers.AsString().view()); field.Next();) {
        const auto is = [&](std::string_view name) {
            return equals_ignoring_case(field.Name(), name);
        };
        if (std::any_of(names.begin(), names.end(), is))
            bodies.append(field.Body()).append(1, '\0');
    }
    return bodies;
}

bool any_destination(std::string_view destinations,
                     const std::function<bool(const std::string& address)>& wanted) {
    while (!destinations.empty()) {
        const std::string_view body = until_nul(destinations);
        const DwAddressList list{DwString(std::string(body))};
        for (DwAddressReader reader(list, true); reader.Next();) {
            const DwMailbox& mailbox = reader.Address().Mailbox();
            if (mailbox.IsValid() &&
                wanted(concat({mailbox.LocalPart().view(), "@", mailbox.Domain().view()})))
                return true;
        }
        destinations.remove_prefix(std::min(body.size() + 1, destinations.size()));
    }
    return false;
}
