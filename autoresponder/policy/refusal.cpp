#include "autoresponder/policy/refusal.h"

#include "autoresponder/panel_query.h"
#include "autoresponder/policy/automatic.h"
#include "base/text.h"
#include "mimelib/field_text.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace {

/// All names under which the mailbox can be written to, in lower case.
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

MailboxNames names_of(const ResolvedMailbox& mailbox, MYSQL* connection) {
    const MysqlResult aliases = run_query_or_exit(
        connection, concat({"select alias from mail_aliases where mn_id=", mailbox.id}));
    const MysqlResult domains = run_query_or_exit(
        connection, concat({"select da.name from domainaliases da, mail m where da.dom_id=m.dom_id"
                            " and da.mail='true' and m.id=",
                            mailbox.id}));
    return {with_first_column(mailbox.mail_name, aliases),
            with_first_column(mailbox.domain_name, domains)};
}

bool is_address_of(const MailboxNames& names, const std::string& address) {
    const auto holds = [](const std::vector<std::string>& list, const std::string& text) {
        return std::find(list.begin(), list.end(), text) != list.end();
    };
    return holds(names.locals, plain_local_part(address)) &&
           holds(names.domains, to_lower(std::string_view(address).substr(address.rfind('@') + 1)));
}

} // namespace

std::string bounce_reason(const Mail_content& mail, const HeaderFacts& facts) {
    return facts.bounce.empty() ? daemon_sign(mail.from) : facts.bounce;
}

std::string refusal_reason(const Mail_content& mail, const HeaderFacts& facts,
                           const ResolvedMailbox& mailbox, MYSQL* connection) {
    if (!facts.automatic.empty())
        return facts.automatic;
    std::string sign = sender_sign(mail.from);
    if (!sign.empty())
        return sign;
    if (to_lower(mail.from) == to_lower(mail.to))
        return "From or Reply-To is the recipient";
    if (is_address_of(names_of(mailbox, connection), mail.from))
        return "From or Reply-To is the mailbox itself";
    return {};
}
