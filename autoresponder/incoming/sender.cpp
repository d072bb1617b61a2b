#include "autoresponder/incoming/sender.h"

#include "base/text.h"

namespace {

constexpr std::string_view scheme = "mailto:";

/// The valid mailbox that stands between angle brackets, if there is one.
std::optional<DwMailbox> mailbox_of(std::string_view inside) {
    inside.remove_prefix(std::min(inside.find_first_not_of(" \t"), inside.size()));
    if (equals_ignoring_case(inside.substr(0, scheme.size()), scheme))
        inside = inside.substr(scheme.size(), inside.find('?') - scheme.size());
    const auto first = DwMailboxList(DwString(concat({"<", inside, ">"}))).FirstMailbox();
    return first && first->IsValid() ? first : std::nullopt;
}

} // namespace

std::optional<DwMailbox> only_bracketed(std::string_view field) {
    std::optional<DwMailbox> found;
    for (std::size_t open = field.find('<'); open != std::string_view::npos;) {
        const std::size_t end = field.find_first_of("<>", open + 1);
        if (end == std::string_view::npos)
            break;
        if (field[end] == '>') {
            const auto mailbox = mailbox_of(field.substr(open + 1, end - open - 1));
            if (mailbox && found)
                return std::nullopt;
            if (mailbox)
                found = mailbox;
        }
        open = field.find('<', end);
    }
    return found;
}
