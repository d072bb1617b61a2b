#include "autoresponder/incoming/destinations.h"

#include "base/text.h"
#include "mimelib/mimelib.h"

#include <algorithm>

bool any_destination(std::string_view destinations,
                     const std::function<bool(const std::string& address)>& wanted) {
    while (!destinations.empty()) {
        const std::string_view body = until_nul(destinations);
        const DwAddressList list{DwString(std::string(body))};
        for (auto address = list.FirstAddress(true); address; address = address->Next()) {
            const DwMailbox mailbox(*address);
            if (mailbox.IsValid() &&
                wanted(concat({mailbox.LocalPart().view(), "@", mailbox.Domain().view()})))
                return true;
        }
        destinations.remove_prefix(std::min(body.size() + 1, destinations.size()));
    }
    return false;
}
