#include "autoresponder/outgoing/reply.h"

#include "autoresponder/incoming/subject.h"
#include "autoresponder/outgoing/attachments.h"
#include "autoresponder/outgoing/delivery.h"
#include "autoresponder/outgoing/form.h"
#include "autoresponder/outgoing/notice.h"
#include "autoresponder/outgoing/size_limit.h"
#include "autoresponder/outgoing/template.h"
#include "autoresponder/run/ending.h"
#include "base/report.h"
#include "codecs/idn.h"

#include <array>
#include <cstdlib>
#include <vector>

namespace {

constexpr std::size_t max_subject = 999;

/// The placeholders of a rule's subject, in the order that the lookup wants. Bound once: a run
/// handles one message.
const std::array<par_templ, 5>& autoresp_templs(const Mail_content& mail) {
    static const std::array<par_templ, 5> templs = {{
        {"incoming_message_subject", mail.subject.c_str()},
        {"orig_emails_sender_mailname", mail.from.c_str()},
        {"orig_emails_subj", mail.subject.c_str()},
        {"request_from", mail.from.c_str()},
        {"request_subject", mail.subject.c_str()},
    }};
    return templs;
}

std::string fill_subject(const ResponderRule& rule, const Mail_content& mail) {
    if (rule.subject.empty())
        return "Re: " + mail.subject;
    const std::array<par_templ, 5>& templs = autoresp_templs(mail);
    std::array<char, max_subject + 1> subject = {};
    repl_ctl control = {};
    control.flags = REPL_KEEP_UNKNOWN;
    templ_replace('<', '>', templs.data(), templs.size(), rule.subject.c_str(), subject.data(),
                  max_subject, &control);
    return std::string(subject.data(), control.out_count);
}

std::string make_subject(const ResponderRule& rule, const ReplyContext& context) {
    std::string subject = fill_subject(rule, context.mail);
    return context.policy.read_as_shown ? without_controls(std::move(subject)) : subject;
}

void write_attachment(const std::string& directory, const std::string& name,
                      const std::string& boundary, const Policy& policy, TemporaryFile& reply) {
    reply.line({"--", boundary});
    reply.line({"Content-Type: application/octet-stream"});
    reply.line({"Content-Transfer-Encoding: base64"});
    reply.line({"Content-Disposition: attachment", file_name_parameters(name, policy)});
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
void write_reply(const ResponderRule& rule, const ReplyContext& context,
                 const std::vector<std::string>& attachments, const std::string& boundary,
                 const std::string& from, TemporaryFile& reply) {
    const Policy& policy = context.policy;
    const bool multipart = !attachments.empty();
    reply.write(reply_to_lines(rule.reply_to, policy));
    const OutgoingText text = outgoing_text(rule.text, rule.charset, policy);
    reply.line({"From: ", from});
    reply.line({"To: ", context.mail.from});
    reply.line({"MIME-Version: 1.0"});
    reply.line({"Subject: ", subject_value(make_subject(rule, context), policy)});
    reply.write(context.chosen_headers());
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
        write_attachment(context.mailbox.attachments_dir, name, boundary, policy, reply);
    if (multipart)
        reply.line({"--", boundary, "--"});
}

} // namespace

ComposedReply compose_reply(const ResponderRule& rule, const ReplyContext& context,
                            std::uint64_t limit, TemporaryFile& reply,
                            const std::function<void(const std::string& missing)>& tell_missing) {
    const std::string boundary = makeBoundaryStr();
    const AttachmentNames attachments =
        find_attachments(context.connection, rule.id, context.mailbox.attachments_dir);
    if (!attachments.missing.empty())
        tell_missing(attachments.missing);
    const std::string from = own_address(context.mail.to, context.policy);
    write_reply(rule, context, attachments.found, boundary, from, reply);
    const bool oversize = reply.size() > limit;
    if (oversize)
        write_oversize_reply(rule, context, from, reply);
    return {context.policy.null_sender ? null_path : from, oversize};
}

bool send_reply(const ResponderRule& rule, const ReplyContext& context) {
    const std::uint64_t limit = size_limit();
    reply_file.create(limit);
    ComposedReply composed;
    try {
        composed = compose_reply(rule, context, limit, reply_file, [&](const std::string& missing) {
            notify_about_missing(missing, rule, context);
        });
    } catch (const orvek::idn::IdnaError&) {
        end_on_exception();
    }
    reply_file.finish();
    return deliver_reply(composed.envelope_sender, context.mail.from);
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
