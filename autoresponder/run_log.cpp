#include "autoresponder/run_log.h"

#include "base/report.h"
#include "base/text.h"

#include <chrono>
#include <cstdlib>
#include <exception>
#include <string>
#include <syslog.h>
#include <vector>

namespace {

/// Four values of this length, a reason and their names leave 200 characters of the line to the
/// rules.
constexpr std::size_t max_value = 110;
constexpr std::size_t max_reason = 200;
constexpr std::size_t max_line = 970; // and " and N more"

using Clock = std::chrono::steady_clock;

struct Outcome {
    std::string rule;
    std::string text;
};

struct RunLog {
    const Mail_content* mail = nullptr;
    const HeaderFacts* facts = nullptr;
    Clock::time_point start;
    bool completed = false;
    std::string refusal;
    std::string mailbox;
    std::vector<Outcome> outcomes;
    std::size_t forwards = 0;
    std::size_t notices = 0;
} run;

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
    std::size_t left = run.outcomes.size();
    for (const Outcome& outcome : run.outcomes) {
        const std::string piece =
            concat({", rule ", escaped(outcome.rule), "=", escaped(outcome.text)});
        if (line.size() + piece.size() > max_line)
            break;
        line += piece;
        --left;
    }
    if (left > 0)
        line += concat({", and ", std::to_string(left), " more"});
}

void write_line() {
    const auto spent =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - run.start);
    const std::string_view refusal =
        run.refusal.empty() && !run.completed ? last_said() : run.refusal;
    std::string_view id = run.facts->thread.message_id;
    if (!id.empty())
        id = id.substr(1, id.size() - 2);
    const char* const recipient = std::getenv("RESP_RECIPIENT");
    std::string line =
        concat({"to=<", escaped(recipient == nullptr ? "" : recipient), ">, from=<",
                escaped(run.mail->from), ">, message-id=<", escaped(id), ">, mailbox=<",
                escaped(run.mailbox), ">, forwards=", std::to_string(run.forwards),
                ", notices=", std::to_string(run.notices), ", ms=", std::to_string(spent.count())});
    if (!refusal.empty())
        line += concat({", reason=\"", escaped(refusal, max_reason), "\""});
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

void start_run_log(const Mail_content& mail, const HeaderFacts& facts) {
    run.mail = &mail;
    run.facts = &facts;
    run.start = Clock::now();
    std::atexit(at_exit);
}

void log_refusal(std::string_view reason) {
    run.refusal = reason;
}

void log_completed() {
    run.completed = true;
}

void log_mailbox(std::string_view name, std::string_view domain) {
    run.mailbox = concat({name, "@", domain});
}

void log_rule(std::string_view id, std::string_view outcome) {
    if (run.outcomes.empty() || run.outcomes.back().rule != id)
        run.outcomes.push_back({std::string(id), {}});
    run.outcomes.back().text = outcome;
}

void log_forward(std::size_t addresses) {
    run.forwards += addresses;
}

void log_notice() {
    ++run.notices;
}
