#include "autoresponder/outgoing/forward.h"

#include "autoresponder/deciding/refusal.h"
#include "autoresponder/outgoing/delivery.h"
#include "autoresponder/outgoing/form.h"
#include "autoresponder/run/ending.h"
#include "autoresponder/run/panel_query.h"
#include "autoresponder/run/temporary_file.h"
#include "base/report.h"
#include "base/text.h"
#include "codecs/idn.h"

#include <utility>
#include <vector>

namespace {

/// The recipient, to whom a bounce goes.
std::string envelope_sender(const Run& run) {
    const std::string& recipient = run.reading.mail.to;
    try {
        return run.policy.standard_mail ? own_address(recipient, run.policy) : recipient;
    } catch (const orvek::idn::IdnaError&) {
        return recipient;
    }
}

/// Whether sendmail has taken it.
bool forward_to(const std::vector<std::string>& recipients, const Run& run) {
    Descriptor copy = mail_copy.open_to_read();
    if (!copy) {
        report_system_error({"autoresponder: Failed to open temporary file with forward mail "
                             "contents '",
                             mail_copy.name(), "': "});
        give_up_if_retried();
        return false;
    }
    return send_message(run, std::move(copy), envelope_sender(run), recipients);
}

} // namespace

std::vector<std::string> forward_addresses(const Run& run, const std::string& id) {
    const MysqlResult rows = run_query_or_exit(
        run.connection.get(), concat({"select address from resp_forward where rn_id=", id}));
    std::vector<std::string> addresses;
    while (const std::optional<Row> row = next_row(rows)) {
        if (!row->is_null(0) && is_safe_argument(row->text(0)))
            addresses.push_back(row->text(0));
    }
    return addresses;
}

void forward(Run& run, const std::string& id) {
    const std::vector<std::string> recipients = forward_addresses(run, id);
    if (recipients.empty())
        return;
    if (!run.acts || forward_to(recipients, run))
        run.account.rule().forwards = recipients;
}
