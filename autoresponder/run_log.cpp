#include "autoresponder/run_log.h"

#include "base/report.h"
#include "base/text.h"

#include <chrono>
#include <cstdlib>
#include <exception>
#include <string>
#include <syslog.h>

namespace {

/// Four values of this length, a reason and their names leave 200 characters of the line to the
/// rules.
constexpr std::size_t max_value = 110;
constexpr std::size_t max_reason = 200;
constexpr std::size_t max_line = 970; // and " and N more"

using Clock = std::chrono::steady_clock;

const Run* logged = nullptr;
Clock::time_point start;

/// Printable ASCII that ends no value as it is, other bytes as "\xHH"; cut where it is long.
std::string escaped(std::string_view value, std::size_t most = max_value) {
    std::string text;
    for (const char c : value) {
        const bool plain = is_printable(c) && !contains("\\<>\",", {&c, 1});
        const std::string form = plain ? std::string(1, c) : hex_form("\\x", c);
        if (text.size() + form.size() > most - 3)
            return text + "...";
        text += form;
    }
    return text;
}

void append_rules(std::string& line) {
    std::size_t left_out = 0;
    for (const RuleFacts& rule : logged->account.rules) {
        if (rule.outcome == Outcome::off)
            continue;
        const std::string piece = concat({", rule ", escaped(rule.id), "=", word_of(rule.outcome)});
        if (left_out > 0 || line.size() + piece.size() > max_line)
            ++left_out;
        else
            line += piece;
    }
    if (left_out > 0)
        line += concat({", and ", std::to_string(left_out), " more"});
}

/// Why nobody gets an answer, or what ended the run before its rules.
std::string_view reason() {
    const Account& account = logged->account;
    return account.refusal.empty() && !account.completed ? last_said() : account.refusal;
}

void write_line() {
    const auto spent = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    const Account& account = logged->account;
    std::size_t forwards = 0;
    std::size_t notices = 0;
    for (const RuleFacts& rule : account.rules) {
        forwards += rule.forwards.size();
        notices += rule.notice ? 1U : 0;
    }
    const std::string mailbox = account.mailbox ? account.mailbox->address() : "";
    std::string_view id = logged->reading.facts.thread.message_id;
    if (!id.empty())
        id = id.substr(1, id.size() - 2);
    const char* const recipient = std::getenv("RESP_RECIPIENT");
    std::string line =
        concat({"to=<", escaped(recipient == nullptr ? "" : recipient), ">, from=<",
                escaped(logged->reading.mail.from), ">, message-id=<", escaped(id), ">, mailbox=<",
                escaped(mailbox), ">, forwards=", std::to_string(forwards),
                ", notices=", std::to_string(notices), ", ms=", std::to_string(spent.count())});
    if (!reason().empty())
        line += concat({", reason=\"", escaped(reason(), max_reason), "\""});
    append_rules(line);
    openlog("autoresponder", LOG_PID, LOG_MAIL);
    syslog(LOG_MAIL | LOG_INFO, "%s", line.c_str());
}

/// What leaves an exit handler ends the process another way; a line that there is no memory for is
/// not worth that.
void at_exit() noexcept {
    try {
        write_line();
    } catch (const std::exception&) {
    }
}

} // namespace

void start_run_log(const Run& run) {
    logged = &run;
    start = Clock::now();
    std::atexit(at_exit);
}
