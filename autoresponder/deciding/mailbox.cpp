#include "autoresponder/deciding/mailbox.h"

#include "autoresponder/run/ending.h"
#include "autoresponder/run/panel_query.h"
#include "base/report.h"
#include "codecs/idn.h"
#include "lib/autoprepend.h"
#include "lib/get_param.h"

#include <array>
#include <utility>

namespace {

MallocedText escaped_alone(const std::string& text) {
    MallocedText escaped(static_cast<char*>(std::malloc(2 * text.size() + 1)));
    if (escaped)
        mysql_escape_string(escaped.get(), text.data(), text.size());
    return escaped;
}

EscapedRecipient escaped_over(MYSQL* connection, const std::string& domain,
                              const std::string& name) {
    return {MallocedText(escape_mysql_param(connection, domain.c_str())),
            MallocedText(escape_mysql_param(connection, name.c_str()))};
}

struct Lookup {
    const char* what;
    std::string statement;
};

/// In the order in which they are tried.
std::array<Lookup, 4> lookups_of(const char* domain, const char* name) {
    return {{
        {"mailbox", concat({"select m.id, m.mail_name, d.name from mail m, domains d"
                            " where m.dom_id=d.id and d.name='",
                            domain, "' and m.mail_name='", name, "'"})},
        {"alias", concat({"select m.id, m.mail_name, d.name from mail m, mail_aliases ma, domains d"
                          " where m.id=ma.mn_id and m.dom_id=d.id and d.name='",
                          domain, "' and ma.alias='", name, "'"})},
        {"mailbox at the alias domain",
         concat({"select m.id, m.mail_name, d.name from mail m, domains d, domainaliases da"
                 " where m.dom_id=d.id and d.id=da.dom_id and da.name='",
                 domain, "' and m.mail_name='", name, "' and da.mail='true'"})},
        {"alias at the alias domain",
         concat({"select m.id, m.mail_name, d.name from mail m, mail_aliases ma, domains d,"
                 " domainaliases da where m.id=ma.mn_id and m.dom_id=d.id and d.id=da.dom_id"
                 " and da.name='",
                 domain, "' and ma.alias='", name, "' and da.mail='true'"})},
    }};
}

/// Up to the first lookup that finds a row.
void look_up(Run& run, const std::string& domain, const std::string& name,
             const EscapedRecipient& escaped) {
    for (const auto& [what, statement] : lookups_of(escaped.domain.get(), escaped.mailname.get())) {
        const MysqlResult found = run_query_patiently_or_throw(run.connection.get(), statement,
                                                               "autoresponder: Unable to query: ");
        const std::optional<Row> row = next_row(found);
        run.account.lookups.push_back({what, concat({name, "@", domain}), row.has_value()});
        if (row) {
            run.account.mailbox = ResolvedMailbox{row->text(0), row->text(1), row->text(2), {}};
            return;
        }
    }
}

} // namespace

void escape_recipient(Run& run) {
    const Mail_content& mail = run.reading.mail;
    // Escaping without a connection needs the client library's character sets, which mysql_init
    // would load only later.
    if (mysql_library_init(0, nullptr, nullptr) == 0) {
        run.recipient.domain = escaped_alone(mail.domain);
        run.recipient.mailname = escaped_alone(mail.mailname);
    }
    if (!run.recipient.domain || !run.recipient.mailname) {
        report({"autoresponder: Unable to alloc memory"});
        give_up();
    }
}

void adapt_escaping(Run& run) {
    MYSQL* const connection = run.connection.get();
    const Mail_content& mail = run.reading.mail;
    if ((connection->server_status & SERVER_STATUS_NO_BACKSLASH_ESCAPES) != 0)
        run.recipient = escaped_over(connection, mail.domain, mail.mailname);
}

std::string without_extension(const std::string& local_part, char delimiter) {
    const std::size_t at = local_part.find(delimiter);
    return local_part.substr(0, at == 0 ? std::string::npos : at);
}

bool find_mailbox(Run& run) {
    const Mail_content& mail = run.reading.mail;
    std::optional<ResolvedMailbox>& found = run.account.mailbox;
    look_up(run, mail.domain, mail.mailname, run.recipient);
    const auto look_up_else = [&](const std::string& domain, const std::string& name) {
        if (!found)
            look_up(run, domain, name, escaped_over(run.connection.get(), domain, name));
    };
    const std::string other =
        run.policy.standard_mail ? orvek::idn::other_form(mail.domain) : mail.domain;
    const std::string shorter = without_extension(mail.mailname, run.policy.recipient_delimiter);
    if (other != mail.domain)
        look_up_else(other, mail.mailname);
    if (shorter != mail.mailname)
        look_up_else(mail.domain, shorter);
    if (other != mail.domain && shorter != mail.mailname)
        look_up_else(other, shorter);
    if (found)
        found->attachments_dir =
            concat({ovkConfGetDefaultByIndex(_ORVEK_MAILNAMES_D_INDEX), "/", found->domain_name,
                    "/", found->mail_name, "/@attachments"});
    else
        report({"autoresponder: Mailname not found: ", mail.mailname, "@", mail.domain});
    return found.has_value();
}
