#include "autoresponder/outgoing/size_limit.h"

#include "autoresponder/outgoing/form.h"
#include "autoresponder/outgoing/reply_headers.h"
#include "autoresponder/run/number.h"
#include "base/owned.h"
#include "base/report.h"

#include <cstdio>

namespace {

constexpr char size_limit_path[] = "/var/qmail/control/databytes";

/// No mail server takes more, and an attachment that is all hole costs its owner nothing, but every
/// mail hours.
constexpr std::uint64_t ceiling = std::uint64_t{1} << 30;

std::uint64_t read_limit() {
    const File file(std::fopen(size_limit_path, "re"));
    char* text = nullptr;
    std::size_t size = 0;
    const bool is_read = file && getdelim(&text, &size, '\0', file.get()) != -1;
    const MallocedText owner(text);
    if (!file || std::ferror(file.get()) != 0)
        report_unreadable(size_limit_path);
    const std::int32_t limit = is_read ? decimal_number(text) : 0;
    return limit > 0 ? static_cast<std::uint64_t>(limit) : ceiling;
}

} // namespace

std::uint64_t size_limit() {
    static const std::uint64_t limit = read_limit();
    return limit;
}

void write_oversize_reply(const ResponderRule& rule, const Run& run, const std::string& own_address,
                          TemporaryFile& reply) {
    const Policy& policy = run.policy;
    reply.restart();
    reply.write(reply_to_lines(rule.reply_to, policy));
    reply.line({"From: ", policy.standard_mail ? own_address : run.reading.mail.to});
    reply.line({policy.standard_mail ? "MIME-Version: 1.0" : "CC: "});
    reply.line({"Subject: ", subject_value("Re: " + run.reading.mail.subject, policy)});
    reply.write(chosen_headers(run));
    reply.line({});
    reply.line({"An error occurred while responding on you request."});
    reply.line({});
    reply.line({"Autoresponder message size exceeds databytes limit."});
    reply.write("\n\n\n");
}
