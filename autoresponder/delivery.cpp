#include "autoresponder/delivery.h"

#include "autoresponder/diagnostics.h"
#include "autoresponder/pipe_stream.h"
#include "autoresponder/process.h"
#include "base/io.h"
#include "base/owned.h"
#include "codecs/idn.h"
#include "lib/forkexec.h"
#include "lib/product_log.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <new>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

Descriptor open_reply_file() {
    Descriptor reply(open(resp_uu_file_name, O_RDONLY | O_CLOEXEC));
    if (!reply) {
        report_system_error({"autoresponder: Failed to open temporary file with response mail "
                             "contents '",
                             resp_uu_file_name, "': "});
        throw std::runtime_error("Failed to generate response mail contents");
    }
    return reply;
}

pid_t start_sendmail(int input, const std::string& envelope_sender, const std::string& recipient) {
    return fork_execl_pipes(input, fileno(stdout), fileno(stderr), sendmail_path, sendmail_path,
                            "-f", envelope_sender.c_str(), recipient.c_str(),
                            static_cast<char*>(nullptr));
}

} // namespace

bool is_safe_argument(const std::string& text) {
    if (!text.starts_with('-'))
        return true;
    report({"autoresponder: Address looks like an option: ", text});
    return false;
}

void deliver_reply(const Mail_content& mail, const Policy& policy) {
    try {
        Descriptor reply = open_reply_file();
        const std::string envelope_sender =
            policy.null_sender ? null_path : orvek::idn::toAscii(mail.to);
        const pid_t sendmail = start_sendmail(reply.get(), envelope_sender, mail.from);
        reply.reset();
        wait_for(sendmail);
    } catch (...) {
        end_on_send_failure();
    }
    unlink(resp_uu_file_name);
}

void deliver_notice(const std::string& envelope_sender, const std::string& recipient,
                    const std::string& text) {
    if (!is_safe_argument(envelope_sender) || !is_safe_argument(recipient))
        return;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) == -1) {
        report_system_error({"autoresponder: Failed to create pipe to sendmail to notify about "
                             "missing attachment files: "});
        return;
    }
    Descriptor read_end(ends[0]);
    const pid_t sendmail = start_sendmail(read_end.get(), envelope_sender, recipient);
    read_end.reset();
    {
        ofd_pipestream message(ends[1]);
        if (!message)
            report({"Unable to send mail with notify of not exist attachment."});
        else
            message << text;
    }
    wait_for(sendmail);
}

void wait_for(pid_t child) {
    wait_for(child, nullptr, WUNTRACED);
}

void end_on_send_failure() {
    try {
        throw;
    } catch (const orvek::idn::IdnaError& failure) {
        messlog2(1, 1, "IDN conversion error: %s", failure.what());
    } catch (const std::runtime_error& failure) {
        messlog2(1, 1, "Send error: %s", failure.what());
    } catch (const std::bad_alloc&) {
        messlog2(1, 1, "Program failed due to exhausted memory");
    }
    std::abort(); // not reached: messlog2 has ended the process
}
