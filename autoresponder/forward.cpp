#include "autoresponder/forward.h"

#include "autoresponder/delivery.h"
#include "autoresponder/diagnostics.h"
#include "autoresponder/panel_query.h"
#include "autoresponder/process.h"
#include "autoresponder/run_log.h"
#include "base/owned.h"
#include "base/text.h"
#include "lib/forkexec.h"

#include <cstdio>
#include <fcntl.h>
#include <vector>

namespace {

/// The rule's addresses in the server's order, as stored, but for those that sendmail must not see.
std::vector<std::string> forward_addresses(MYSQL* connection, const std::string& rule) {
    const MysqlResult rows = run_query_or_exit(
        connection, concat({"select address from resp_forward where rn_id=", rule}));
    std::vector<std::string> addresses;
    while (const std::optional<Row> row = next_row(rows)) {
        if (!row->is_null(0) && is_safe_argument(row->text(0)))
            addresses.push_back(row->text(0));
    }
    return addresses;
}

/// sendmail's argument vector, ended by null. Points into the record and the list.
std::vector<const char*> arguments(const Mail_content& mail,
                                   const std::vector<std::string>& addresses) {
    std::vector<const char*> vector = {sendmail_path, "-f", mail.to.c_str()};
    vector.reserve(addresses.size() + 4);
    for (const std::string& address : addresses)
        vector.push_back(address.c_str());
    vector.push_back(nullptr);
    return vector;
}

} // namespace

void forward(MYSQL* connection, const Mail_content* mail, std::string id) {
    const std::vector<std::string> addresses = forward_addresses(connection, id);
    if (addresses.empty())
        return;
    Descriptor copy(open(mail_file_name, O_RDONLY | O_CLOEXEC));
    if (!copy) {
        report_system_error({"autoresponder: Failed to open temporary file with forward mail "
                             "contents '",
                             mail_file_name, "': "});
        return;
    }
    const pid_t sendmail = fork_execv_pipes(copy.get(), fileno(stdout), fileno(stderr),
                                            sendmail_path, arguments(*mail, addresses).data());
    copy.reset();
    wait_for(sendmail);
    log_forward(addresses.size());
}
