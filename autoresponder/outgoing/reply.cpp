#include "autoresponder/outgoing/reply.h"

#include "autoresponder/incoming/subject.h"
#include "autoresponder/outgoing/attachments.h"
#include "autoresponder/outgoing/delivery.h"
#include "autoresponder/outgoing/form.h"
#include "autoresponder/outgoing/notice.h"
#include "autoresponder/outgoing/reply_headers.h"
#include "autoresponder/outgoing/size_limit.h"
#include "autoresponder/outgoing/template.h"
#include "autoresponder/run/ending.h"
#include "autoresponder/run/temporary_file.h"
#include "base/report.h"

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace {

constexpr std::size_t max_subject = 999;

/// A rule's own subject with its placeholders filled. They are in the order that the lookup wants,
/// and bound once: a run handles one message.
std::string fill_subject(const std::string& text, const Mail_content& mail) {
    static const std::array<par_templ, 5> autoresp_templs = {{
        {"incoming_message_subject", mail.subject.c_str()},
        {"orig_emails_sender_mailname", mail.from.c_str()},
        {"orig_emails_subj", mail.subject.c_str()},
        {"request_from", mail.from.c_str()},
        {"request_subject", mail.subject.c_str()},
    }};
    std::array<char, max_subject + 1> subject = {};
    repl_ctl control = {};
    control.flags = REPL_KEEP_UNKNOWN;
    templ_replace('<', '>', autoresp_templs.data(), autoresp_templs.size(), text.c_str(),
                  subject.data(), max_subject, &control);
    return std::string(subject.data(), control.out_count);
}

std::string make_subject(const ResponderRule& rule, const Run& run) {
    const Mail_content& mail = run.reading.mail;
    std::string subject =
        rule.subject.empty() ? "Re: " + mail.subject : fill_subject(rule.subject, mail);
    return run.policy.read_as_shown ? without_controls(std::move(subject)) : subject;
}

void write_attachment(const std::string& directory, const std::string& name,
                      const std::string& boundary, const Form& form, TemporaryFile& reply) {
    reply.line({"--", boundary});
    reply.line({"Content-Type: application/octet-stream"});
    reply.line({"Content-Transfer-Encoding: base64"});
    reply.line({"Content-Disposition: attachment", form.file_name_parameters(name)});
    reply.line({});
    const Descriptor file = open_attachment(directory, name);
    if (file)
        write_encoded(file.get(), reply);
    else
        report_system_error(
            {"autoresponder: Failed to read attachement file '", directory, "/", name, "': "});
    reply.line({});
}

/// Writes the whole reply; see the layout of replies in docs/DESIGN.md.
void write_reply(const ResponderRule& rule, const Run& run,
                 const std::vector<std::string>& attachments, const std::string& from,
                 TemporaryFile& reply) {
    const Form form(run.policy);
    const std::string boundary = makeBoundaryStr();
    const bool multipart = !attachments.empty();
    reply.write(form.reply_to_lines(rule.reply_to));
    const OutgoingText text = form.text(rule.text, rule.charset);
    reply.line({"From: ", from});
    reply.line({"To: ", run.reading.mail.from});
    reply.line({"MIME-Version: 1.0"});
    reply.line({"Subject: ", form.subject_value(make_subject(rule, run))});
    reply.write(chosen_reply_headers(run));
    if (multipart) {
        reply.line({"Content-Type: multipart/mixed;\n\tboundary=\"", boundary, "\""});
        reply.line({});
        reply.line({"--", boundary});
    }
    reply.line({"Content-Type: ", rule.content_type, "; charset=\"", text.charset, "\""});
    reply.line({"Content-Transfer-Encoding: ", text.encoding});
    reply.line({"Content-Disposition: inline"});
    reply.line({});
    reply.line({text.body});
    reply.write("\n\n");
    for (const std::string& name : attachments)
        write_attachment(run.mailbox().attachments_dir, name, boundary, form, reply);
    if (multipart)
        reply.line({"--", boundary, "--"});
}

/// Writes the reply to `reply`, which takes `limit` bytes, or in its place the short one, and
/// records it.
const ReplyFacts& compose_reply(const ResponderRule& rule, Run& run,
                                const std::vector<std::string>& attachments, std::uint64_t limit,
                                TemporaryFile& reply) {
    const std::string from = Form(run.policy).own_address(run.reading.mail.to);
    write_reply(rule, run, attachments, from, reply);
    const bool oversize =
        reply.size() > limit || (run.policy.retry_status != 0 && reply.can_never_be_whole());
    if (oversize)
        write_oversize_reply(rule, run, from, limit, reply);
    return run.account.rule().reply.emplace(ReplyFacts{reply.size(), limit, oversize,
                                                       run.policy.null_sender ? null_path : from,
                                                       run.reading.mail.from});
}

/// Whether a run that acts would send the reply, which is kept where it is asked to.
bool tell_reply(const ResponderRule& rule, Run& run) {
    if (!reply_file.is_whole()) {
        report({"autoresponder: Not sent, the reply could not be written whole"});
        return false;
    }
    if (rule.id == run.kept_rule)
        run.kept_reply = reply_file.take();
    return true;
}

} // namespace

bool send_reply(const ResponderRule& rule, Run& run) {
    const std::uint64_t limit = size_limit();
    const bool is_made = reply_file.create(limit);
    if (!run.acts()) {
        if (!is_made)
            throw std::runtime_error("there is no temporary file to be had for the reply");
        reply_file.remove(); // nobody else is to see it
    }
    const AttachmentNames attachments =
        find_attachments(run.connection.get(), rule.id, run.mailbox().attachments_dir);
    const bool is_told_behind = is_retry_possible(); // each try would tell them anew
    if (!is_told_behind)
        notify_about_missing(attachments.missing, rule, run);
    const ReplyFacts& reply = compose_reply(rule, run, attachments.found, limit, reply_file);
    const bool sent = run.acts() ? deliver_reply(run, reply.envelope_sender, reply.recipient)
                                 : tell_reply(rule, run);
    if (is_told_behind)
        notify_about_missing(attachments.missing, rule, run);
    return sent;
}

std::string makeBoundaryStr() {
    constexpr int letters = 29;
    std::string boundary = "--------=_";
    for (int i = 0; i < letters; ++i) {
        const int r = std::rand() % 52;
        boundary += static_cast<char>(r < 26 ? 'A' + r : 'a' + (r - 26));
    }
    return boundary;
}
