#include "autoresponder/deciding/refusal.h"

#include "autoresponder/incoming/automatic.h"
#include "autoresponder/incoming/destinations.h"
#include "autoresponder/run/panel_query.h"
#include "base/text.h"
#include "codecs/idn.h"
#include "mimelib/field_text.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace {

/// All names under which the mailbox can be written to, in lower case and sorted: a stranger's mail
/// can name any number of addresses.
struct MailboxNames {
    std::vector<std::string> locals;
    std::vector<std::string> domains;
};

std::vector<std::string> with_first_column(std::string first, const MysqlResult& rows) {
    std::vector<std::string> texts = {to_lower(first)};
    while (const std::optional<Row> row = next_row(rows))
        texts.push_back(to_lower(row->text(0)));
    return texts;
}

/// A mail's header has the ASCII form of a domain, whatever the table has.
std::vector<std::string> with_ascii_forms(std::vector<std::string> domains) {
    for (std::size_t i = domains.size(); i-- > 0;) {
        try {
            domains.push_back(orvek::idn::toAscii(domains[i]));
        } catch (const orvek::idn::IdnaError&) {
            // It has none.
        }
    }
    return domains;
}

MailboxNames names_of(const ResolvedMailbox& mailbox, MYSQL* connection) {
    const MysqlResult aliases = run_query_or_exit(
        connection, concat({"select alias from mail_aliases where mn_id=", mailbox.id}));
    const MysqlResult domains = run_query_or_exit(
        connection, concat({"select da.name from domainaliases da, mail m where da.dom_id=m.dom_id"
                            " and da.mail='true' and m.id=",
                            mailbox.id}));
    MailboxNames names = {with_first_column(mailbox.mail_name, aliases),
                          with_ascii_forms(with_first_column(mailbox.domain_name, domains))};
    std::sort(names.locals.begin(), names.locals.end());
    std::sort(names.domains.begin(), names.domains.end());
    return names;
}

/// As addresses are compared.
std::string plain(std::string_view address) {
    return to_lower(without_final_dot(address));
}

bool is_address_of(const MailboxNames& names, const std::string& address, char delimiter) {
    const auto holds = [](const std::vector<std::string>& list, const std::string& text) {
        return std::binary_search(list.begin(), list.end(), text);
    };
    const std::string local = plain_local_part(address);
    return (holds(names.locals, local) ||
            holds(names.locals, without_extension(local, delimiter))) &&
           holds(names.domains, plain(std::string_view(address).substr(address.rfind('@') + 1)));
}

std::string automatic_reason(const Mail_content& mail, const HeaderFacts& facts) {
    if (!facts.automatic.empty())
        return facts.automatic;
    std::string sign = sender_sign(mail.from);
    if (sign.empty() && plain(mail.from) == plain(mail.to))
        return "From or Reply-To is the recipient";
    return sign;
}

} // namespace

bool looks_like_option(std::string_view text) {
    return text.starts_with('-');
}

std::string bounce_reason(const Mail_content& mail, const HeaderFacts& facts) {
    return facts.bounce.empty() ? daemon_sign(mail.from) : facts.bounce;
}

Refusal refusal_of(const Mail_content& mail, const HeaderFacts& facts,
                   const ResolvedMailbox& mailbox, MYSQL* connection, const Policy& policy) {
    if (looks_like_option(mail.from))
        return {Fault::option_like_sender, "From or Reply-To looks like an option"};
    if (!policy.refuse_automatic && !policy.addressed_only)
        return {};
    if (policy.refuse_automatic) {
        std::string reason = automatic_reason(mail, facts);
        if (!reason.empty())
            return {Fault::automatic, std::move(reason)};
    }
    const MailboxNames names = names_of(mailbox, connection);
    const auto is_ours = [&](const std::string& address) {
        return plain(address) == plain(mail.to) ||
               is_address_of(names, address, policy.recipient_delimiter);
    };
    if (policy.refuse_automatic && is_ours(mail.from))
        return {Fault::mailbox_itself, "From or Reply-To is the mailbox itself"};
    if (policy.addressed_only && !any_destination(facts.destinations, is_ours))
        return {Fault::not_addressed, "To and Cc name no address of the mailbox"};
    return {};
}
