#include "autoresponder/deciding/refusal.h"

#include "autoresponder/deciding/mailbox.h"
#include "autoresponder/incoming/automatic.h"
#include "autoresponder/incoming/destinations.h"
#include "autoresponder/run/panel_query.h"
#include "base/report.h"
#include "base/text.h"
#include "codecs/idn.h"
#include "mimelib/field_text.h"

#include <set>
#include <string_view>

namespace {

bool is_own_mail(const Mail_content& mail, const Policy& policy) {
    const std::string recipient(without_final_dot(mail.to));
    return policy.standard_mail ? mail.ascii_sender == orvek::idn::ascii_form(recipient)
                                : mail.sender() == recipient;
}

bool is_mailer_daemon(std::string_view sender) {
    return contains(sender, "MAILER-DAEMON") || contains(sender, "mailer-daemon") ||
           contains(sender, "DrWEB-DAEMON");
}

std::string bounce_reason(const Run& run) {
    const std::string& bounce = run.reading.facts.bounce;
    if (!run.policy.refuse_automatic)
        return {};
    return bounce.empty() ? daemon_sign(run.reading.mail.from) : bounce;
}

/// In lower case and in order: a stranger's mail can name any number of addresses.
using Names = std::set<std::string>;

Names with_first_column(const std::string& first, const MysqlResult& rows) {
    Names names = {to_lower(first)};
    while (const std::optional<Row> row = next_row(rows))
        names.insert(to_lower(row->text(0)));
    return names;
}

/// A mail's header has the ASCII form of a domain, whatever the table has.
Names with_ascii_forms(const Names& domains) {
    Names forms = domains;
    for (const std::string& domain : domains)
        forms.insert(orvek::idn::ascii_form("@" + domain).substr(1));
    return forms;
}

/// All names under which the mailbox can be written to.
struct MailboxNames {
    Names locals;
    Names domains;
};

MailboxNames names_of(const ResolvedMailbox& mailbox, MYSQL* connection) {
    const MysqlResult aliases = run_query_patiently_or_throw(
        connection, concat({"select alias from mail_aliases where mn_id=", mailbox.id}));
    const MysqlResult domains = run_query_patiently_or_throw(
        connection, concat({"select da.name from domainaliases da, mail m where da.dom_id=m.dom_id"
                            " and da.mail='true' and m.id=",
                            mailbox.id}));
    return {with_first_column(mailbox.mail_name, aliases),
            with_ascii_forms(with_first_column(mailbox.domain_name, domains))};
}

/// As addresses are compared.
std::string plain(std::string_view address) {
    return to_lower(without_final_dot(address));
}

bool is_address_of(const MailboxNames& names, const std::string& address, char delimiter) {
    const std::string local = plain_local_part(address);
    return (names.locals.contains(local) ||
            names.locals.contains(without_extension(local, delimiter))) &&
           names.domains.contains(plain(std::string_view(address).substr(address.rfind('@') + 1)));
}

bool has_been_through(const ResolvedMailbox& mailbox, std::string_view forwarded_by) {
    const std::string own = mailbox.mark();
    return any_address(forwarded_by, [&](const std::string& mark) { return mark == own; });
}

std::string automatic_reason(const Mail_content& mail, const HeaderFacts& facts) {
    if (!facts.automatic.empty())
        return facts.automatic;
    std::string sign = sender_sign(mail.from);
    if (sign.empty() && plain(mail.from) == plain(mail.to))
        return "From or Reply-To is the recipient";
    return sign;
}

bool looks_like_option(std::string_view text) {
    return text.starts_with('-');
}

std::string refusal_of(const Run& run) {
    const Mail_content& mail = run.reading.mail;
    const Policy& policy = run.policy;
    if (!policy.refuse_automatic && !policy.addressed_only)
        return {};
    if (policy.refuse_automatic) {
        std::string reason = automatic_reason(mail, run.reading.facts);
        if (!reason.empty())
            return reason;
    }
    const MailboxNames names = names_of(run.mailbox(), run.connection.get());
    const auto is_ours = [&](const std::string& address) {
        return plain(address) == plain(mail.to) ||
               is_address_of(names, address, policy.recipient_delimiter);
    };
    if (policy.refuse_automatic && is_ours(mail.from))
        return "From or Reply-To is the mailbox itself";
    if (policy.addressed_only && !any_address(run.reading.facts.destinations, is_ours))
        return "To and Cc name no address of the mailbox";
    return {};
}

} // namespace

bool is_safe_argument(const std::string& text) {
    if (!looks_like_option(text))
        return true;
    report({"autoresponder: Address looks like an option: ", text});
    return false;
}

bool is_stopped(const Run& run) {
    const Mail_content& mail = run.reading.mail;
    if (is_own_mail(mail, run.policy))
        report({"Field From: equial field To:"});
    else if (is_mailer_daemon(mail.from))
        report({"Field From: contains MAILER-DAEMON"});
    // RFC 5321 section 4.5.3.1: no mail reaches such an address. Its limit on the local part is
    // another matter: real mail goes beyond it.
    else if (mail.sender().size() > 254)
        report({"Field From: address is too long"});
    else if (const std::string reason = bounce_reason(run); !reason.empty())
        report({"autoresponder: Neither answered nor forwarded: ", reason});
    else
        return false;
    return true;
}

bool look_for_refusal(Run& run) {
    std::string& refusal = run.account.refusal;
    const bool is_circle =
        run.policy.stop_circles && has_been_through(run.mailbox(), run.reading.facts.forwarded_by);
    const bool harms_replies_only = !is_circle && looks_like_option(run.reading.mail.from);
    refusal = is_circle            ? "it has been through this mailbox"
              : harms_replies_only ? "From or Reply-To looks like an option"
                                   : refusal_of(run);
    if (!harms_replies_only && !refusal.empty())
        report({"autoresponder: Not answered: ", refusal});
    return !is_circle;
}
