// The mail autoresponder. The mail server starts it once for every mail delivered to a mailbox
// with an autoresponder: the mail on standard input, the recipient in RESP_RECIPIENT.
#include "autoresponder/deciding/refusal.h"
#include "autoresponder/incoming/intake.h"
#include "autoresponder/outgoing/delivery.h"
#include "autoresponder/responder.h"
#include "autoresponder/run/ending.h"
#include "autoresponder/run/process.h"
#include "autoresponder/run/switches.h"
#include "autoresponder/run/temporary_file.h"
#include "autoresponder/run_log.h"
#include "base/report.h"
#include "lib/autoprepend.h"
#include "lib/product_log.h"

#include <csignal>
#include <ctime>
#include <unistd.h>

namespace {

bool is_older(const HeaderFacts& facts, int hours) {
    return facts.received && *facts.received < std::time(nullptr) - hours * std::time_t{3600};
}

} // namespace

int main(int, char** argv) {
    prepare_process();
    PROGNAME = argv[0];
    if (autoprepend_once() == -1)
        report_unreadable(configuration_file);

    // A process that is not allowed to become root goes on as whoever it is.
    [[maybe_unused]] const int user = setuid(0);
    [[maybe_unused]] const int group = setgid(0);
    Run run(configured_policy(), &by_sendmail);
    if (run.policy.log)
        start_run_log(run);
    set_statuses({.for_now = run.policy.retry_status});
    if (run.policy.retry_status != 0)
        std::signal(SIGCHLD, SIG_DFL); // where it is ignored, nobody hears how sendmail ended
    // Nobody gets an answer, and the delivery is done all the same.
    if (parse_message(&run.reading, run.policy) != 0) {
        report_consequence({"Abnormal exit."});
        if (!mail_copy.is_made())
            give_up();
        correct_exit();
    }
    if (is_older(run.reading.facts, run.policy.retry_hours))
        set_statuses(
            {.for_now = run.policy.retry_status, .given_up_after = run.policy.retry_hours});
    if (is_stopped(run))
        correct_exit();
    if (!mail_copy.is_whole() && is_retry_possible()) {
        report({"autoresponder: Unable to keep a copy of the mail"});
        give_up();
    }

    db_mail_act(run);
    if (run.account.completed)
        run.connection.reset();
    correct_exit();
}
