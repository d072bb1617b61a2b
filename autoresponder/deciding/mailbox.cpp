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

MallocedText make_escape_buffer(const std::string& text) {
    return MallocedText(static_cast<char*>(std::malloc(2 * text.size() + 1)));
}

void escape_into(const MallocedText& buffer, const std::string& text) {
    mysql_escape_string(buffer.get(), text.data(), text.size());
}

/// The four lookups in the order in which they are tried.
std::array<std::string, 4> lookup_statements(const char* domain, const char* name) {
    return {
        concat({"select m.id, m.mail_name, d.name from mail m, domains d"
                " where m.dom_id=d.id and d.name='",
                domain, "' and m.mail_name='", name, "'"}),
        concat({"select m.id, m.mail_name, d.name from mail m, mail_aliases ma, domains d"
                " where m.id=ma.mn_id and m.dom_id=d.id and d.name='",
                domain, "' and ma.alias='", name, "'"}),
        concat({"select m.id, m.mail_name, d.name from mail m, domains d, domainaliases da"
                " where m.dom_id=d.id and d.id=da.dom_id and da.name='",
                domain, "' and m.mail_name='", name, "' and da.mail='true'"}),
        concat({"select m.id, m.mail_name, d.name from mail m, mail_aliases ma, domains d,"
                " domainaliases da where m.id=ma.mn_id and m.dom_id=d.id and d.id=da.dom_id"
                " and da.name='",
                domain, "' and ma.alias='", name, "' and da.mail='true'"}),
    };
}

/// Up to the first lookup that finds a row.
void look_up(Run& run, const std::string& address, const char* domain, const char* name) {
    static constexpr std::array<const char*, 4> names = {
        "mailbox", "alias", "mailbox at the alias domain", "alias at the alias domain"};
    std::size_t lookup = 0;
    for (const std::string& statement : lookup_statements(domain, name)) {
        const MysqlResult found =
            run_query_or_exit(run.connection.get(), statement, "autoresponder: Unable to query: ");
        const std::optional<Row> row = next_row(found);
        run.account.lookups.push_back({names.at(lookup++), address, row.has_value()});
        if (row) {
            run.account.mailbox = ResolvedMailbox{row->text(0), row->text(1), row->text(2), {}};
            return;
        }
    }
}

std::string attachments_directory(const std::string& domain, const std::string& mailbox) {
    const char* const root = ovkConfGetDefaultByIndex(_ORVEK_MAILNAMES_D_INDEX);
    return concat({root, "/", domain, "/", mailbox, "/@attachments"});
}

} // namespace

void escape_recipient(Run& run) {
    const Mail_content& mail = run.reading.mail;
    run.recipient.domain = make_escape_buffer(mail.domain);
    run.recipient.mailname = make_escape_buffer(mail.mailname);
    // Escaping without a connection needs the client library's character sets, which mysql_init
    // would load only later.
    const bool has_library = mysql_library_init(0, nullptr, nullptr) == 0;
    if (!run.recipient.domain || !run.recipient.mailname || !has_library) {
        report({"autoresponder: Unable to alloc memory"});
        give_up();
    }
    escape_into(run.recipient.domain, mail.domain);
    escape_into(run.recipient.mailname, mail.mailname);
}

void adapt_escaping(Run& run) {
    MYSQL* const connection = run.connection.get();
    if ((connection->server_status & SERVER_STATUS_NO_BACKSLASH_ESCAPES) == 0)
        return;
    const Mail_content& mail = run.reading.mail;
    run.recipient.domain.reset(escape_mysql_param(connection, mail.domain.c_str()));
    run.recipient.mailname.reset(escape_mysql_param(connection, mail.mailname.c_str()));
}

std::string without_extension(const std::string& local_part, char delimiter) {
    const std::size_t at = local_part.find(delimiter);
    return local_part.substr(0, at == 0 ? std::string::npos : at);
}

bool find_mailbox(Run& run) {
    const Mail_content& mail = run.reading.mail;
    std::optional<ResolvedMailbox>& found = run.account.mailbox;
    const auto address = [](const std::string& domain, const std::string& name) {
        return concat({name, "@", domain});
    };
    look_up(run, address(mail.domain, mail.mailname), run.recipient.domain.get(),
            run.recipient.mailname.get());
    const auto look_up_else = [&](const std::string& domain, const std::string& name) {
        if (found || (domain == mail.domain && name == mail.mailname))
            return;
        const auto escaped = [&](const std::string& text) {
            return MallocedText(escape_mysql_param(run.connection.get(), text.c_str()));
        };
        look_up(run, address(domain, name), escaped(domain).get(), escaped(name).get());
    };
    const std::string other =
        run.policy.standard_mail ? orvek::idn::other_form(mail.domain) : mail.domain;
    const std::string shorter = without_extension(mail.mailname, run.policy.recipient_delimiter);
    look_up_else(other, mail.mailname);
    if (shorter != mail.mailname) {
        look_up_else(mail.domain, shorter);
        if (other != mail.domain)
            look_up_else(other, shorter);
    }
    if (found)
        found->attachments_dir = attachments_directory(found->domain_name, found->mail_name);
    else
        report({"autoresponder: Mailname not found: ", mail.mailname, "@", mail.domain});
    return found.has_value();
}
