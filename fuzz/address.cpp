// Address lists: what a decoded mailbox may hold, and that it reads back as itself.
#include "fuzz/fuzz.h"
#include "mimelib/mimelib.h"

#include <string>
#include <utility>
#include <vector>

namespace {

using Mailbox = std::pair<std::string, std::string>;

/// The valid mailboxes outside groups.
std::vector<Mailbox> addresses(const DwAddressList& list) {
    std::vector<Mailbox> found;
    std::size_t count = 0;
    for (auto address = list.FirstAddress(); address; address = address->Next()) {
        require(++count <= list.AsString().size(), "a list has no more addresses than bytes");
        const DwMailbox mailbox(*address);
        if (address->IsMailbox() && address->IsValid())
            found.emplace_back(mailbox.LocalPart().str(), mailbox.Domain().str());
    }
    return found;
}

/// Removes the content of quoted strings. Quotes must be paired.
std::string outside_quotes(std::string_view text) {
    std::string outside;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"')
            quoted = !quoted;
        else if (quoted && text[i] == '\\')
            ++i;
        else if (!quoted)
            outside += text[i];
    }
    require(!quoted, "quotes in a mailbox are paired");
    return outside;
}

void check(const Mailbox& mailbox) {
    const auto& [local, domain] = mailbox;
    require(!local.empty() && !domain.empty(), "a valid mailbox has local part and domain");
    for (const char c : local + domain)
        require(static_cast<unsigned char>(c) >= 32 && c != 127, "no control characters");
    constexpr char specials[] = " ()<>@,;:\\\"";
    require(outside_quotes(local).find_first_of(specials) == std::string::npos &&
                outside_quotes(local).find_first_of("[]") == std::string::npos,
            "no white space, comments and other specials in a local part outside quotes");
    const bool literal = domain.front() == '[';
    require(domain.find_first_of(literal ? " ()<>@,;\\\"" : specials) == std::string::npos,
            "no white space, comments and other specials in a domain");
    require(!literal || domain.find_first_of("[]", 1) == domain.size() - 1,
            "a literal ends at its bracket");

    const std::vector<Mailbox> itself{mailbox};
    const std::string address = local + "@" + domain;
    if (address.find("=?") != std::string::npos)
        return; // put together, the parts may look like an encoded word, which is no address
    require(addresses(DwAddressList(DwString(address))) == itself, "reads back as itself");
    require(addresses(DwAddressList(DwString("x <" + address + "> (y)"))) == itself,
            "reads back as itself within angle brackets");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const DwString text(as_text(data, size));
    for (const Mailbox& mailbox : addresses(DwAddressList(text)))
        check(mailbox);
    return 0;
}
