#include "autoresponder/outgoing/notice.h"

#include "autoresponder/deciding/refusal.h"
#include "autoresponder/outgoing/delivery.h"
#include "autoresponder/outgoing/form.h"
#include "autoresponder/outgoing/reply_headers.h"
#include "autoresponder/run/panel_query.h"
#include "base/owned.h"
#include "base/report.h"
#include "base/text.h"
#include "codecs/idn.h"
#include "lib/get_param.h"

#include <optional>

namespace {

constexpr char product[] = "ovk";
constexpr char fallback_sender[] = "root@localhost";

struct Client {
    std::string email;
    /// Personal name, or the login of a client without one.
    std::string name;
};

/// The client who owns the domain with this name, if there is one.
std::optional<Client> query_client(MYSQL* connection, const char* escaped_domain) {
    const MysqlResult found = run_query_or_throw(
        connection, concat({"select c.email, c.pname, c.login from clients c, domains d"
                            " where d.cl_id=c.id and d.name='",
                            escaped_domain, "'"}));
    const std::optional<Row> row = next_row(found);
    if (!row)
        return std::nullopt;
    const std::string name = row->text(1);
    return Client{std::string(until_control(row->text(0))), name.empty() ? row->text(2) : name};
}

/// The client who owns the recipient's domain; none, after a message, where that fails.
std::optional<Client> find_client(const Run& run) {
    MYSQL* const connection = run.connection.get();
    const std::string& domain = run.reading.mail.domain;
    try {
        std::optional<Client> client = query_client(connection, run.recipient.domain.get());
        const std::string other = orvek::idn::other_form(domain);
        if (!client && run.policy.standard_mail && other != domain) {
            const MallocedText escaped(escape_mysql_param(connection, other.c_str()));
            client = query_client(connection, escaped.get());
        }
        if (!client)
            report({"This client does not exist :", mysql_error(connection)});
        return client;
    } catch (const QueryFailure& failure) {
        report({"Unable to define client email and personal name :", failure.text});
        return std::nullopt;
    }
}

/// What of it can stand in a header. A parameter that cannot be read counts as empty.
std::string parameter(const char* name, MYSQL* connection) {
    const char* const value = get_param(name, connection);
    return std::string(until_control(value == nullptr ? "" : value));
}

std::string notice_sender(MYSQL* connection) {
    std::string admin = parameter("admin_email", connection);
    if (!admin.empty())
        return admin;
    const std::string host = parameter("FullHostName", connection);
    return host.empty() ? fallback_sender : "root@" + host;
}

std::string notice_text(const std::string& sender, const Client& client, const std::string& missing,
                        const ResponderRule& rule, const Run& run) {
    const Mail_content& mail = run.reading.mail;
    const std::string addresses = concat({"From: ", sender, "\nTo: ", client.email, "\n"});
    const std::string head = Form(run.policy).short_head(rule.reply_to, addresses);
    return concat({head, product, " notification (files missing in attachments repository). \n",
                   chosen_headers(run),
                   "Content-Type: text/plain; charset=utf-8\n"
                   "Content-Disposition: inline\n"
                   "Content-Transfer-Encoding: 8bit\n\n\n"
                   "Notification for ",
                   product, " client '", client.name,
                   "'.\n\n"
                   "The following files are missing in the attachment repository\n"
                   "for the mailname '",
                   mail.mailname, "' on domain '", mail.domain, "':\n", missing, "\n"});
}

} // namespace

void notify_about_missing(const std::string& missing, const ResponderRule& rule, Run& run) {
    if (missing.empty())
        return;
    const std::optional<Client> client = find_client(run);
    if (!client || client->email.empty())
        return;
    const std::string sender = notice_sender(run.connection.get());
    const std::string envelope_sender = run.policy.null_sender ? null_path : sender;
    if (!is_safe_argument(client->email)) // the sender stands behind "-f"
        return;
    if (run.acts())
        deliver_notice(run, envelope_sender, client->email,
                       notice_text(sender, *client, missing, rule, run));
    run.account.rule().notice = {envelope_sender, client->email};
}
