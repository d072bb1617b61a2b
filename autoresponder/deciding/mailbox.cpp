#include "autoresponder/deciding/mailbox.h"

#include "autoresponder/run/ending.h"
#include "autoresponder/run/panel_query.h"
#include "base/report.h"
#include "base/text.h"
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

/// The row of the first lookup that finds one.
std::optional<FoundMailbox> look_up(MYSQL* connection, const MallocedText& domain,
                                    const MallocedText& name) {
    int lookup = 0;
    for (const std::string& statement : lookup_statements(domain.get(), name.get())) {
        const MysqlResult found =
            run_query_or_exit(connection, statement, "autoresponder: Unable to query: ");
        if (const std::optional<Row> row = next_row(found))
            return FoundMailbox{{row->text(0), row->text(1), row->text(2), {}},
                                static_cast<Lookup>(lookup)};
        ++lookup;
    }
    return std::nullopt;
}

std::string attachments_directory(const std::string& domain, const std::string& mailbox) {
    const char* const root = ovkConfGetDefaultByIndex(_ORVEK_MAILNAMES_D_INDEX);
    return concat({root, "/", domain, "/", mailbox, "/@attachments"});
}

} // namespace

EscapedRecipient escape_recipient(const Mail_content& mail) {
    EscapedRecipient escaped{make_escape_buffer(mail.domain), make_escape_buffer(mail.mailname)};
    // Escaping without a connection needs the client library's character sets, which mysql_init
    // would load only later.
    const bool has_library = mysql_library_init(0, nullptr, nullptr) == 0;
    if (!escaped.domain || !escaped.mailname || !has_library) {
        report({"autoresponder: Unable to alloc memory"});
        give_up();
    }
    escape_into(escaped.domain, mail.domain);
    escape_into(escaped.mailname, mail.mailname);
    return escaped;
}

void adapt_escaping(MYSQL* connection, const Mail_content& mail, EscapedRecipient& recipient) {
    if ((connection->server_status & SERVER_STATUS_NO_BACKSLASH_ESCAPES) == 0)
        return;
    recipient.domain.reset(escape_mysql_param(connection, mail.domain.c_str()));
    recipient.mailname.reset(escape_mysql_param(connection, mail.mailname.c_str()));
}

std::string without_extension(const std::string& local_part, char delimiter) {
    const std::size_t at = local_part.find(delimiter);
    return local_part.substr(0, at == 0 ? std::string::npos : at);
}

std::optional<FoundMailbox> find_mailbox(MYSQL* connection, const Mail_content& mail,
                                         const EscapedRecipient& recipient, const Policy& policy,
                                         std::vector<AddressTried>* tried) {
    const auto note = [tried](const std::string& domain, const std::string& name) {
        if (tried != nullptr)
            tried->push_back({name, domain});
    };
    note(mail.domain, mail.mailname);
    std::optional<FoundMailbox> found = look_up(connection, recipient.domain, recipient.mailname);
    const auto look_up_else = [&](const std::string& domain, const std::string& name) {
        if (found || (domain == mail.domain && name == mail.mailname))
            return;
        note(domain, name);
        found = look_up(connection, MallocedText(escape_mysql_param(connection, domain.c_str())),
                        MallocedText(escape_mysql_param(connection, name.c_str())));
    };
    const std::string other =
        policy.standard_mail ? orvek::idn::other_form(mail.domain) : mail.domain;
    const std::string shorter = without_extension(mail.mailname, policy.recipient_delimiter);
    look_up_else(other, mail.mailname);
    if (shorter != mail.mailname) {
        look_up_else(mail.domain, shorter);
        if (other != mail.domain)
            look_up_else(other, shorter);
    }
    if (found)
        found->mailbox.attachments_dir =
            attachments_directory(found->mailbox.domain_name, found->mailbox.mail_name);
    return found;
}

ResolvedMailbox resolve_mailbox(MYSQL* connection, const Mail_content& mail,
                                const EscapedRecipient& recipient, const Policy& policy) {
    std::optional<FoundMailbox> found = find_mailbox(connection, mail, recipient, policy);
    if (!found) {
        report({"autoresponder: Mailname not found: ", mail.mailname, "@", mail.domain});
        correct_exit();
    }
    return std::move(found->mailbox);
}
