#include "autoresponder/outgoing/forward.h"

#include "autoresponder/outgoing/delivery.h"
#include "autoresponder/outgoing/form.h"
#include "autoresponder/run/ending.h"
#include "autoresponder/run/panel_query.h"
#include "autoresponder/run/temporary_file.h"
#include "autoresponder/run_log.h"
#include "base/report.h"
#include "base/text.h"
#include "codecs/idn.h"

#include <utility>
#include <vector>

namespace {

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

std::string envelope_sender(const Mail_content& mail) {
    const Policy policy = configured_policy();
    try {
        return policy.standard_mail ? own_address(mail.to, policy) : mail.to;
    } catch (const orvek::idn::IdnaError&) {
        return mail.to;
    }
}

} // namespace

ForwardPlan plan_forward(MYSQL* connection, const Mail_content& mail, const std::string& id) {
    return {envelope_sender(mail), forward_addresses(connection, id)};
}

void forward(MYSQL* connection, const Mail_content* mail, std::string id) {
    const ForwardPlan plan = plan_forward(connection, *mail, id);
    if (plan.recipients.empty())
        return;
    Descriptor copy = mail_copy.open_to_read();
    if (!copy) {
        report_system_error({"autoresponder: Failed to open temporary file with forward mail "
                             "contents '",
                             mail_copy.name(), "': "});
        give_up_if_retried();
        return;
    }
    if (send_message(std::move(copy), plan.envelope_sender, plan.recipients))
        log_forward(plan.recipients.size());
}
