#include "autoresponder/reply.h"

#include "autoresponder/attachments.h"
#include "autoresponder/delivery.h"
#include "autoresponder/diagnostics.h"
#include "autoresponder/notice.h"
#include "autoresponder/number.h"
#include "autoresponder/panel_query.h"
#include "autoresponder/policy/thread.h"
#include "autoresponder/process.h"
#include "autoresponder/reply_file.h"
#include "autoresponder/template.h"
#include "base/text.h"
#include "codecs/base64.h"
#include "codecs/charset.h"
#include "codecs/idn.h"
#include "lib/libcommon.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr char size_limit_path[] = "/var/qmail/control/databytes";
constexpr std::size_t max_subject = 999;

/// The size of a reply where the mail system has no limit: none takes more, and an attachment that
/// is all hole costs its owner nothing, but every mail hours.
constexpr std::uint64_t ceiling = std::uint64_t{1} << 30;

/// The most bytes that a reply may have.
std::uint64_t size_limit() {
    const File file(std::fopen(size_limit_path, "re"));
    char* text = nullptr;
    std::size_t size = 0;
    const bool is_read = file && getdelim(&text, &size, '\0', file.get()) != -1;
    const MallocedText owner(text);
    const std::int32_t limit = is_read ? decimal_number(text) : 0;
    return limit > 0 ? static_cast<std::uint64_t>(limit) : ceiling;
}

struct AttachmentNames {
    /// Existing files, in the order of the database.
    std::vector<std::string> found;
    /// Names of the files that do not exist, a line feed behind each.
    std::string missing;
};

AttachmentNames look_for_attachments(const ResponderRule& rule, const ReplyContext& context) {
    const MysqlResult rows = run_query_or_exit(
        context.connection, concat({"select filename from resp_attach where rn_id=", rule.id}));
    AttachmentNames names;
    while (const std::optional<Row> row = next_row(rows)) {
        std::string stored = row->text(0);
        if (stored.empty())
            continue;
        std::string name = orvek_trim(stored.data());
        if (attachment_exists(context.mailbox.attachments_dir, name))
            names.found.push_back(std::move(name));
        else
            names.missing.append(name).append(1, '\n');
    }
    return names;
}

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

std::string make_subject(const ResponderRule& rule, const Mail_content& mail) {
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

struct ReplyText {
    std::string body;
    std::string charset;
};

/// The text in the rule's charset; as it is, in UTF-8, where that cannot express it.
ReplyText recode_text(const ResponderRule& rule) {
    try {
        return {orvek::iconvRecode(rule.text, "UTF-8", rule.charset, true), rule.charset};
    } catch (const std::runtime_error&) {
        return {rule.text, "UTF-8"};
    }
}

/// The autoresponder's own address in ASCII form. Without one there is no reply: the process ends
/// with status 1.
std::string ascii_address(const std::string& address) {
    try {
        errno = 0; // so that the message shows no error of some earlier call
        return orvek::idn::toAscii(address);
    } catch (...) {
        end_on_send_failure();
    }
}

/// Reads until `size` bytes are there or the file ends; an error ends it as well.
std::size_t read_fully(int fd, unsigned char* bytes, std::size_t size) {
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t count = read(fd, bytes + filled, size - filled);
        if (count > 0)
            filled += static_cast<std::size_t>(count);
        else if (count == 0 || errno != EINTR)
            break;
    }
    return filled;
}

std::size_t size_of(int fd) {
    struct stat status;
    return fstat(fd, &status) == 0 ? static_cast<std::size_t>(status.st_size) : 0;
}

/// The file in Base64, a line for every 45 bytes. Read and written many lines at a time, until the
/// reply takes no more. A file that keeps growing ends where it ended at first.
void write_encoded(int fd, ReplyFile& reply) {
    constexpr std::size_t bytes_per_line = 45;
    constexpr std::size_t line_length = 60;
    constexpr std::size_t lines_per_block = 256;
    std::vector<unsigned char> bytes(bytes_per_line * lines_per_block);
    std::vector<char> lines((line_length + 1) * lines_per_block + 1);
    std::size_t left = size_of(fd);
    while (reply.takes_more()) {
        const std::size_t count = read_fully(fd, bytes.data(), std::min(left, bytes.size()));
        if (count == 0)
            break;
        left -= count;
        std::size_t length = 0;
        for (std::size_t at = 0; at < count; at += bytes_per_line) {
            const std::size_t chunk = std::min(bytes_per_line, count - at);
            base64Encode(bytes.data() + at, chunk, lines.data() + length);
            length += (chunk + 2) / 3 * 4;
            lines[length++] = '\n';
        }
        reply.write({lines.data(), length});
    }
}

void write_attachment(const std::string& directory, const std::string& name,
                      const std::string& boundary, ReplyFile& reply) {
    reply.line({"--", boundary});
    reply.line({"Content-Type: application/octet-stream"});
    reply.line({"Content-Transfer-Encoding: base64"});
    reply.line(
        {"Content-Disposition: attachment;\n\tfilename=\"", orvek::rfc1522::encode(name), "\""});
    reply.line({});
    const Descriptor file = open_attachment(directory, name);
    if (file)
        write_encoded(file.get(), reply);
    else
        report_system_error(
            {"autoresponder: Failed to read attachement file '", directory, "/", name, "': "});
    reply.line({});
}

void write_chosen_headers(const ReplyContext& context, ReplyFile& reply) {
    if (context.policy.reply_headers)
        reply.write(automatic_reply_headers(context.mail.domain, context.facts.thread));
}

/// Writes the whole reply; see the layout of replies in docs/DESIGN.md.
void write_reply(const ResponderRule& rule, const ReplyContext& context,
                 const std::vector<std::string>& attachments, const std::string& boundary,
                 const std::string& subject, std::uint64_t limit) {
    ReplyFile reply(limit);
    const Mail_content& mail = context.mail;
    const bool multipart = !attachments.empty();
    if (!rule.reply_to.empty())
        reply.line({"Reply-To: ", rule.reply_to});
    const ReplyText text = recode_text(rule);
    reply.line({"From: ", ascii_address(mail.to)});
    reply.line({"To: ", mail.from});
    reply.line({"MIME-Version: 1.0"});
    reply.line({"Subject: ", orvek::rfc1522::encode(subject)});
    write_chosen_headers(context, reply);
    if (multipart) {
        reply.line({"Content-Type: multipart/mixed;\n\tboundary=\"", boundary, "\""});
        reply.line({});
        reply.line({"--", boundary});
    }
    reply.line({"Content-Type: ", rule.content_type, "; charset=\"", text.charset, "\""});
    reply.line({"Content-Transfer-Encoding: 8bit"});
    reply.line({"Content-Disposition: inline"});
    reply.line({});
    reply.line({text.body});
    reply.write("\n\n");
    for (const std::string& name : attachments)
        write_attachment(context.mailbox.attachments_dir, name, boundary, reply);
    if (multipart)
        reply.line({"--", boundary, "--"});
}

bool is_oversize(std::uint64_t limit) {
    struct stat status;
    return stat(resp_uu_file_name, &status) == 0 &&
           static_cast<std::uint64_t>(status.st_size) > limit;
}

void write_oversize_reply(const ResponderRule& rule, const ReplyContext& context) {
    ReplyFile reply(ceiling);
    const Mail_content& mail = context.mail;
    if (!rule.reply_to.empty())
        reply.line({"Reply-To: ", rule.reply_to});
    reply.line({"From: ", mail.to});
    reply.line({"CC: "});
    reply.line({"Subject: ", orvek::rfc1522::encode("Re: " + mail.subject)});
    write_chosen_headers(context, reply);
    reply.line({});
    reply.line({"An error occurred while responding on you request."});
    reply.line({});
    reply.line({"Autoresponder message size exceeds databytes limit."});
    reply.write("\n\n\n");
}

} // namespace

void send_reply(const ResponderRule& rule, const ReplyContext& context) {
    const std::string boundary = makeBoundaryStr();
    Descriptor created = create_reply_file();
    const AttachmentNames attachments = look_for_attachments(rule, context);
    if (!attachments.missing.empty())
        notify_about_missing(attachments.missing, rule, context);
    const std::uint64_t limit = size_limit();
    write_reply(rule, context, attachments.found, boundary, make_subject(rule, context.mail),
                limit);
    created.reset();
    if (is_oversize(limit))
        write_oversize_reply(rule, context);
    deliver_reply(context.mail, context.policy);
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
