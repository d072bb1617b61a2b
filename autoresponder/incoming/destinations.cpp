#include "autoresponder/incoming/destinations.h"

#include "base/text.h"
#include "mimelib/mimelib.h"

std::string addresses_of(std::string_view body) {
    std::string addresses;
    const DwAddressList list{DwString(std::string(body))};
    for (auto address = list.FirstAddress(true); address; address = address->Next()) {
        const DwMailbox mailbox(*address);
        if (mailbox.IsValid())
            addresses.append(mailbox.LocalPart().view())
                .append("@")
                .append(mailbox.Domain().view())
                .append(1, '\0');
    }
    return addresses;
}

bool any_address(std::string_view addresses,
                 const std::function<bool(const std::string& address)>& wanted) {
    while (!addresses.empty()) {
        const std::string address(until_nul(addresses));
        if (wanted(address))
            return true;
        addresses.remove_prefix(address.size() + 1);
    }
    return false;
}
