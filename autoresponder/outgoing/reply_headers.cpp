#include "autoresponder/outgoing/reply_headers.h"

#include "autoresponder/incoming/thread.h"
#include "base/text.h"
#include "codecs/idn.h"

#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <sys/random.h>
#include <unistd.h>

namespace {

constexpr char auto_submitted[] = "Auto-Submitted: auto-replied\n";

std::string date() {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    std::array<char, 64> text = {};
    localtime_r(&now, &local);
    const std::size_t length =
        std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S %z", &local);
    return std::string(text.data(), length);
}

/// Time and process tell messages of one host apart; the random number those of hosts that share a
/// domain, and of containers that share a process id.
std::string unique_left() {
    std::timespec now = {};
    std::uint64_t random = 0;
    std::array<char, 96> text = {};
    clock_gettime(CLOCK_REALTIME, &now);
    [[maybe_unused]] const ssize_t filled = getrandom(&random, sizeof random, 0);
    std::snprintf(text.data(), text.size(), "%" PRIdMAX ".%09ld.%" PRIdMAX ".%016" PRIx64,
                  static_cast<std::intmax_t>(now.tv_sec), now.tv_nsec,
                  static_cast<std::intmax_t>(getpid()), random);
    return text.data();
}

std::string new_message_id(const std::string& domain) {
    try {
        std::string id = concat({"<", unique_left(), "@", orvek::idn::toAscii(domain), ">"});
        return is_msg_id(id) ? id : std::string();
    } catch (const orvek::idn::IdnaError&) {
        return {};
    }
}

/// One msg-id a line.
std::string fold(std::string ids) {
    for (std::size_t blank = 0; (blank = ids.find(' ', blank)) != std::string::npos; blank += 2)
        ids.insert(blank, 1, '\n');
    return ids;
}

} // namespace

std::string automatic_reply_headers(const std::string& domain, const MailThread& thread) {
    const std::string id = new_message_id(domain);
    std::string lines = concat({"Date: ", date(), "\n"});
    if (!id.empty())
        lines += concat({"Message-ID: ", id, "\n"});
    lines += concat({auto_submitted, "X-Auto-Response-Suppress: All\n"});
    if (!thread.message_id.empty()) {
        lines += concat({thread_line::in_reply_to, thread.message_id, "\n"});
        lines +=
            concat({thread_line::references, fold(thread.references + thread.message_id), "\n"});
    }
    return lines;
}

std::string chosen_headers(const Run& run) {
    const Reading& reading = run.reading;
    return run.policy.reply_headers
               ? automatic_reply_headers(reading.mail.domain, reading.facts.thread)
               : std::string();
}

std::string chosen_reply_headers(const Run& run) {
    const bool is_marked_only = run.policy.refuse_automatic && !run.policy.reply_headers;
    return is_marked_only ? auto_submitted : chosen_headers(run);
}
