// The mail autoresponder. The mail server starts it once for every mail delivered to a mailbox
// with an autoresponder: the mail on standard input, the recipient in RESP_RECIPIENT.
#include "autoresponder/diagnostics.h"
#include "autoresponder/intake.h"
#include "autoresponder/mail_content.h"
#include "autoresponder/policy/refusal.h"
#include "autoresponder/policy/switches.h"
#include "autoresponder/process.h"
#include "autoresponder/responder.h"
#include "autoresponder/run_log.h"
#include "codecs/idn.h"
#include "lib/autoprepend.h"
#include "lib/product_log.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

/// A delivery that is done although nobody gets an answer: says why and leaves the normal way.
[[noreturn]] void refuse(std::initializer_list<std::string_view> reason) {
    report(reason);
    correct_exit();
}

bool is_own_mail(const Mail_content& mail) {
    return configured_policy().standard_mail ? orvek::idn::is_same_address(mail.from, mail.to)
                                             : mail.from == mail.to;
}

bool is_mailer_daemon(std::string_view sender) {
    constexpr std::array<std::string_view, 3> names = {"MAILER-DAEMON", "mailer-daemon",
                                                       "DrWEB-DAEMON"};
    return std::any_of(names.begin(), names.end(), [sender](std::string_view name) {
        return sender.find(name) != std::string_view::npos;
    });
}

/// RFC 5321 section 4.5.3.1: no mail reaches such an address, and no column needs room for it.
bool is_too_long(std::string_view sender) {
    return sender.size() > 254 || sender.rfind('@') > 64;
}

// A process that is not allowed to become root goes on as whoever it is.
void take_root() {
    [[maybe_unused]] const int user = setuid(0);
    [[maybe_unused]] const int group = setgid(0);
}

} // namespace

int main(int, char** argv) {
    prepare_process();
    PROGNAME = argv[0];
    autoprepend();

    Mail_content mail;
    take_root();
    if (configured_policy().log)
        start_run_log(mail);
    if (parse_message(&mail) != 0) {
        log_refusal(last_report());
        refuse({"Abnormal exit."});
    }
    if (is_own_mail(mail))
        refuse({"Field From: equial field To:"});
    if (is_mailer_daemon(mail.from))
        refuse({"Field From: contains MAILER-DAEMON"});
    if (is_too_long(mail.from))
        refuse({"Field From: address is too long"});
    if (const std::string sign = bounce_reason(mail, header_facts);
        !sign.empty() && configured_policy().refuse_automatic)
        refuse({"autoresponder: Neither answered nor forwarded: ", sign});

    db_mail_act(&mail);
    correct_exit();
}
