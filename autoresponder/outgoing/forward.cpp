#include "autoresponder/outgoing/forward.h"

#include "autoresponder/deciding/refusal.h"
#include "autoresponder/incoming/header_facts.h"
#include "autoresponder/outgoing/delivery.h"
#include "autoresponder/outgoing/form.h"
#include "autoresponder/run/ending.h"
#include "autoresponder/run/panel_query.h"
#include "autoresponder/run/temporary_file.h"
#include "base/io.h"
#include "base/report.h"
#include "base/text.h"

#include <array>
#include <utility>
#include <vector>

namespace {

/// The line ends as the first of the copy does.
void write_marked(std::string_view mark, int copy, int out) {
    std::array<char, 65536> block;
    std::size_t count = read_fully(copy, block.data(), block.size());
    const std::string_view front(block.data(), count);
    const char* const end = front.substr(0, front.find('\n')).ends_with('\r') ? "\r\n" : "\n";
    bool is_taken = write_fully(out, concat({forward_mark, ": ", mark, end}));
    while (is_taken && count > 0) {
        is_taken = write_fully(out, {block.data(), count});
        count = read_fully(copy, block.data(), block.size());
    }
}

bool send_marked(const Run& run, int copy, const std::string& sender,
                 const std::vector<std::string>& recipients) {
    Pipe pipe = open_pipe();
    if (!pipe) {
        report_system_error({"autoresponder: Failed to create pipe to sendmail to forward: "});
        give_up_if_retried();
        return false;
    }
    const pid_t sendmail = start_sendmail(run, std::move(pipe.read_end), sender, recipients);
    write_marked(run.mailbox().mark(), copy, pipe.write_end.get());
    pipe.write_end.reset();
    return is_sent(run, sendmail);
}

/// Whether sendmail has taken it.
bool forward_to(const std::vector<std::string>& recipients, const std::string& sender,
                const Run& run) {
    Descriptor copy = mail_copy.open_to_read();
    if (!copy) {
        report_system_error({"autoresponder: Failed to open temporary file with forward mail "
                             "contents '",
                             mail_copy.name(), "': "});
        give_up_if_retried();
        return false;
    }
    return run.policy.stop_circles ? send_marked(run, copy.get(), sender, recipients)
                                   : send_message(run, std::move(copy), sender, recipients);
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
    // The recipient, to whom a bounce goes.
    const std::string sender = Form(run.policy).forward_sender(run.reading.mail.to);
    std::vector<std::string>& taken = run.account.rule().forwards;
    for (const std::vector<std::string>& part : in_calls(forward_addresses(run, id))) {
        if (!run.acts() || forward_to(part, sender, run))
            taken.insert(taken.end(), part.begin(), part.end());
    }
}
