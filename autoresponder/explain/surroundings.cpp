#include "autoresponder/explain/surroundings.h"

#include "autoresponder/deciding/mailbox.h"
#include "autoresponder/outgoing/size_limit.h"
#include "autoresponder/run/panel_query.h"
#include "base/owned.h"
#include "base/text.h"
#include "lib/autoprepend.h"
#include "lib/dbconnect.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <pwd.h>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace {

HostFile file_at(const char* path) {
    if (Descriptor(open(path, O_RDONLY | O_CLOEXEC)))
        return {path, {}};
    return {path, std::strerror(errno), errno == ENOENT};
}

constexpr std::size_t most_nearest = 5;

/// Whether they differ by case or by one letter: another, one more or one less.
bool is_near(std::string_view one, std::string_view other) {
    const std::string a = to_lower(one);
    const std::string b = to_lower(other);
    const auto differ = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    const std::string_view rest_of_a(differ.first, a.end());
    const std::string_view rest_of_b(differ.second, b.end());
    const std::string_view next_of_a = rest_of_a.substr(rest_of_a.empty() ? 0 : 1);
    const std::string_view next_of_b = rest_of_b.substr(rest_of_b.empty() ? 0 : 1);
    return next_of_a == next_of_b || next_of_a == rest_of_b || rest_of_a == next_of_b;
}

void add_nearest(std::string address, std::vector<std::string>& nearest) {
    if (nearest.size() < most_nearest &&
        std::find(nearest.begin(), nearest.end(), address) == nearest.end())
        nearest.push_back(std::move(address));
}

/// Everybody at the domain whose name is nearly this, with what is left of an extension or without,
/// then this name at other domains.
void look_for_nearest(const Run& run, Surroundings& told) {
    constexpr char delimiter = '+';
    MYSQL* const connection = run.connection.get();
    const Mail_content& mail = run.reading.mail;
    const EscapedRecipient& recipient = run.recipient;
    const std::string here = concat(
        {" from mail m join domains d on d.id=m.dom_id left join mail_aliases ma on"
         " ma.mn_id=m.id where d.name='",
         recipient.domain.get(), "' or d.id in (select dom_id from domainaliases where name='",
         recipient.domain.get(), "' and mail='true')"});
    const std::string shorter = without_extension(mail.mailname, delimiter);
    const bool has_extension =
        shorter != mail.mailname && run.policy.recipient_delimiter != delimiter;
    for (const char* const column : {"m.mail_name", "ma.alias"}) {
        const MysqlResult names =
            run_query_patiently_or_throw(connection, concat({"select distinct ", column, here}));
        while (const std::optional<Row> row = next_row(names)) {
            if (row->is_null(0))
                continue;
            const std::string name = row->text(0);
            const bool is_base = has_extension && is_near(name, shorter);
            if (is_base)
                told.delimiter = delimiter;
            if (is_base || is_near(name, mail.mailname))
                add_nearest(concat({name, "@", mail.domain}), told.nearest);
        }
    }
    const MysqlResult elsewhere = run_query_patiently_or_throw(
        connection,
        concat({"select m.mail_name, d.name from mail m, domains d where m.dom_id=d.id and"
                " m.mail_name='",
                recipient.mailname.get(),
                "' union select ma.alias, d.name from mail_aliases ma, mail m, domains d where"
                " ma.mn_id=m.id and m.dom_id=d.id and ma.alias='",
                recipient.mailname.get(), "' limit 5"}));
    while (const std::optional<Row> row = next_row(elsewhere))
        add_nearest(concat({row->text(0), "@", row->text(1)}), told.nearest);
}

} // namespace

HostFacts host_facts(const Policy& policy) {
    const uid_t id = geteuid();
    const passwd* const entry = getpwuid(id);
    return {entry == nullptr ? std::to_string(id) : entry->pw_name,
            id == 0,
            {file_at(configuration_file), file_at(password_file), file_at(size_limit_file)},
            in_force(policy)};
}

Surroundings surroundings_of(const Run& run) {
    Surroundings told;
    MYSQL* const connection = run.connection.get();
    const char* const domain = run.recipient.domain.get();
    const MysqlResult known = run_query_patiently_or_throw(
        connection, concat({"select 1 from domains where name='", domain,
                            "' union select 1 from domainaliases where name='", domain, "'"}));
    told.domain_known = next_row(known).has_value();
    const MysqlResult switched_off = run_query_patiently_or_throw(
        connection,
        concat({"select d.name from domains d, domainaliases da where d.id=da.dom_id and"
                " da.name='",
                domain, "' and not (da.mail<=>'true')"}));
    while (const std::optional<Row> row = next_row(switched_off))
        told.switched_off_alias_of.push_back(row->text(0));
    look_for_nearest(run, told);
    return told;
}
