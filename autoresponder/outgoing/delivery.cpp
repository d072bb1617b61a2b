#include "autoresponder/outgoing/delivery.h"

#include "autoresponder/outgoing/form.h"
#include "autoresponder/outgoing/pipe_stream.h"
#include "autoresponder/run/ending.h"
#include "autoresponder/run/temporary_file.h"
#include "base/io.h"
#include "base/report.h"
#include "base/text.h"
#include "lib/forkexec.h"
#include "lib/product_log.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <sysexits.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr char sendmail_path[] = "/usr/sbin/sendmail";

/// What sendmail made of a message.
enum class Handover {
    sent,    ///< taken, or there is no telling
    unsent,  ///< may be taken another time
    refused, ///< for good
};

/// Says so unless sendmail took the message. One that is stopped may go on.
Handover outcome_of(int status) {
    constexpr int not_started = 255;
    if (WIFSIGNALED(status)) {
        report({"autoresponder: Not sent, sendmail was ended by signal ",
                std::to_string(WTERMSIG(status))});
        return Handover::unsent;
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) == 0)
        return Handover::sent;
    const int code = WEXITSTATUS(status);
    if (code == EX_TEMPFAIL || code == not_started) {
        report({"autoresponder: Not sent, sendmail ended with status ", std::to_string(code)});
        return Handover::unsent;
    }
    report({"autoresponder: Refused, sendmail ended with status ", std::to_string(code)});
    return Handover::refused;
}

/// What it makes of the message is looked at only where the host has mail tried again.
Handover wait_for_sendmail(const Run& run, pid_t sendmail) {
    int status = 0;
    wait_for(sendmail, &status, WUNTRACED);
    return run.policy.retry_status == 0 ? Handover::sent : outcome_of(status);
}

pid_t start(int message, const char* const arguments[]) {
    return fork_execv_pipes(message, fileno(stdout), fileno(stderr), sendmail_path, arguments);
}

void stream(int pipe, const std::string& text) {
    ofd_pipestream message(pipe);
    if (!message)
        report({"Unable to send mail with notify of not exist attachment."});
    else
        message << text;
}

} // namespace

const Sending by_sendmail = {start, stream};

std::string sendmail_problem() {
    if (access(sendmail_path, X_OK) == 0)
        return {};
    return concat({sendmail_path, ": ", std::strerror(errno)});
}

pid_t start_sendmail(const Run& run, Descriptor message, const std::string& envelope_sender,
                     const std::vector<std::string>& recipients) {
    if (!run.acts()) {
        errno = 0;
        end_with_failure("Program failed: a run that only tells was about to send");
    }
    std::vector<const char*> arguments = {sendmail_path};
    for (const char* const option : Form(run.policy).sendmail_options())
        arguments.push_back(option);
    arguments.insert(arguments.end(), {"-f", envelope_sender.c_str()});
    for (const std::string& recipient : recipients)
        arguments.push_back(recipient.c_str());
    arguments.push_back(nullptr);
    return run.sending->start(message.get(), arguments.data());
}

bool is_sent(const Run& run, pid_t sendmail) {
    const Handover outcome = wait_for_sendmail(run, sendmail);
    if (outcome == Handover::sent)
        rule_out_retry();
    if (outcome == Handover::unsent)
        give_up_if_retried();
    return outcome == Handover::sent;
}

bool send_message(const Run& run, Descriptor message, const std::string& envelope_sender,
                  const std::vector<std::string>& recipients) {
    return is_sent(run, start_sendmail(run, std::move(message), envelope_sender, recipients));
}

bool deliver_reply(const Run& run, const std::string& envelope_sender,
                   const std::string& recipient) {
    reply_file.finish();
    Descriptor reply = reply_file.open_to_read();
    if (!reply) {
        report_system_error({"autoresponder: Failed to open temporary file with response mail "
                             "contents '",
                             reply_file.name(), "': "});
        end_with_failure("Send error: %s", "Failed to generate response mail contents");
    }
    const bool is_fit = reply_file.is_whole() || run.policy.retry_status == 0;
    if (!is_fit) {
        report({"autoresponder: Not sent, the reply could not be written whole"});
        give_up_if_retried();
    }
    const bool sent = is_fit && send_message(run, std::move(reply), envelope_sender, {recipient});
    reply_file.remove();
    return sent;
}

void deliver_notice(const Run& run, const std::string& envelope_sender,
                    const std::string& recipient, const std::string& text) {
    Pipe pipe = open_pipe();
    if (!pipe)
        return report_system_error({"autoresponder: Failed to create pipe to sendmail to notify "
                                    "about missing attachment files: "});
    const pid_t sendmail =
        start_sendmail(run, std::move(pipe.read_end), envelope_sender, {recipient});
    run.sending->stream(pipe.write_end.release(), text);
    wait_for_sendmail(run, sendmail);
}
