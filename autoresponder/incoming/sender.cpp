#include "autoresponder/incoming/sender.h"

#include "base/text.h"

namespace {

constexpr std::string_view scheme = "mailto:";

/// The mailbox that stands between angle brackets; an invalid one when it is none.
DwMailbox mailbox_of(std::string_view inside) {
    inside.remove_prefix(std::min(inside.find_first_not_of(" \t"), inside.size()));
    if (equals_ignoring_case(inside.substr(0, scheme.size()), scheme))
        inside = inside.substr(scheme.size(), inside.find('?') - scheme.size());
    const DwMailboxList list(DwString(concat({"<", inside, ">"})));
    DwAddressReader reader(list);
    return reader.Next() ? reader.Address().Mailbox() : DwMailbox();
}

} // namespace

std::unique_ptr<const DwMailbox> only_bracketed(std::string_view field) {
    std::unique_ptr<const DwMailbox> found;
    for (std::size_t open = field.find('<'); open != std::string_view::npos;) {
        const std::size_t end = field.find_first_of("<>", open + 1);
        if (end == std::string_view::npos)
            break;
        if (field[end] == '>') {
            const DwMailbox mailbox = mailbox_of(field.substr(open + 1, end - open - 1));
            if (mailbox.IsValid() && found)
                return nullptr;
            if (mailbox.IsValid())
                found = std::make_unique<const DwMailbox>(mailbox);
        }
        open = field.find('<', end);
    }
    return found;
}
