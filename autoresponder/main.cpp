// The mail autoresponder. The mail server starts it once for every mail delivered to a mailbox
// with an autoresponder: the mail on standard input, the recipient in RESP_RECIPIENT.
#include "autoresponder/deciding/guards.h"
#include "autoresponder/incoming/intake.h"
#include "autoresponder/incoming/mail_content.h"
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
#include <unistd.h>

namespace {

// A process that is not allowed to become root goes on as whoever it is.
void take_root() {
    [[maybe_unused]] const int user = setuid(0);
    [[maybe_unused]] const int group = setgid(0);
}

} // namespace

int main(int, char** argv) {
    prepare_process();
    PROGNAME = argv[0];
    if (autoprepend_once() == -1)
        report_unreadable(configuration_file);

    Mail_content mail;
    HeaderFacts facts;
    take_root();
    const Policy policy = configured_policy();
    if (policy.log)
        start_run_log(mail, facts);
    set_statuses({.for_now = policy.retry_status});
    if (policy.retry_status != 0)
        std::signal(SIGCHLD, SIG_DFL); // where it is ignored, nobody hears how sendmail ended
    // Nobody gets an answer, and the delivery is done all the same.
    if (parse_message(&mail, &facts) != 0) {
        report_consequence({"Abnormal exit."});
        if (!mail_copy.is_made())
            give_up();
        correct_exit();
    }
    if (const Refusal refusal = guard(mail, facts, policy)) {
        report({refusal.reason});
        correct_exit();
    }
    if (!mail_copy.is_whole() && is_retry_possible()) {
        report({"autoresponder: Unable to keep a copy of the mail"});
        give_up();
    }

    db_mail_act(&mail, facts);
    correct_exit();
}
