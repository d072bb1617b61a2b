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
#include "mimelib/message.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

/// The mark stands in front of the header, and its line ends as the first of the copy does.
void write_marked(std::string_view mark, int copy, int out) {
    std::array<char, 65536> block;
    std::size_t count = read_fully(copy, block.data(), block.size());
    const std::string_view front(block.data(), count);
    const char* const end = front.substr(0, front.find('\n')).ends_with('\r') ? "\r\n" : "\n";
    const std::size_t start = mimelib::start_of_header(front);
    const std::size_t header = start < count ? start : 0; // else the block ends within the line
    bool is_taken = write_fully(out, concat({front.substr(0, header), forward_mark, ": ", mark, end,
                                             front.substr(header)}));
    while (is_taken && (count = read_fully(copy, block.data(), block.size())) > 0)
        is_taken = write_fully(out, {block.data(), count});
}

bool not_forwarded(std::initializer_list<std::string_view> why) {
    report_system_error(why);
    give_up_if_retried();
    return false;
}

/// Whether sendmail has taken it.
bool forward_to(const std::vector<std::string>& recipients, const std::string& sender,
                const Run& run) {
    Descriptor copy = mail_copy.open_to_read();
    if (!copy)
        return not_forwarded({"autoresponder: Failed to open temporary file with forward mail "
                              "contents '",
                              mail_copy.name(), "': "});
    if (!run.policy.stop_circles)
        return send_message(run, std::move(copy), sender, recipients);
    Pipe pipe = open_pipe();
    if (!pipe)
        return not_forwarded({"autoresponder: Failed to create pipe to sendmail to forward: "});
    const pid_t sendmail = start_sendmail(run, std::move(pipe.read_end), sender, recipients);
    write_marked(run.mailbox().mark(), copy.get(), pipe.write_end.get());
    pipe.write_end.reset();
    return is_sent(run, sendmail);
}

/// The recipients in their order, in as few parts as the system takes for arguments of a program.
std::vector<std::vector<std::string>> in_calls(const std::vector<std::string>& recipients) {
    // The environment and the other arguments take their part.
    const std::size_t most =
        static_cast<std::size_t>(std::min(sysconf(_SC_ARG_MAX), 6L << 20)) / 4 * 3;
    std::vector<std::vector<std::string>> calls;
    std::size_t room = 0;
    for (const std::string& recipient : recipients) {
        const std::size_t size = recipient.size() + 1 + sizeof(char*);
        if (calls.empty() || size > room) {
            calls.emplace_back();
            room = most;
        }
        room -= std::min(room, size);
        calls.back().push_back(recipient);
    }
    return calls;
}

} // namespace

std::vector<std::string> forward_addresses(const Run& run, const std::string& id) {
    const MysqlResult rows = run_query_patiently_or_throw(
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
