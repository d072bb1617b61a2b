#include "autoresponder/incoming/intake.h"

#include "autoresponder/incoming/cell_reading.h"
#include "autoresponder/incoming/sender.h"
#include "autoresponder/incoming/subject.h"
#include "autoresponder/incoming/text_part.h"
#include "autoresponder/run/temporary_file.h"
#include "base/io.h"
#include "base/owned.h"
#include "base/report.h"
#include "base/text.h"
#include "codecs/charset.h"
#include "codecs/idn.h"
#include "reading/letters.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/types.h>
#include <utility>

namespace {

constexpr char default_charset[] = "US-ASCII";

constexpr std::size_t spare_room = 65536;
constexpr std::size_t largest_block = std::size_t{1} << 20;

/// A BlockSource. An error counts as the end of input. A descriptor that the caller has made
/// non-blocking is waited for.
std::size_t read_standard_input(char* block, std::size_t size) {
    for (;;) {
        const ssize_t count = read_some(STDIN_FILENO, block, size);
        if (count >= 0)
            return static_cast<std::size_t>(count);
        if (errno != EAGAIN)
            return 0;
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        poll(&input, 1, -1);
    }
}

/// What is left to read of a regular file; 0 where that cannot be told.
std::size_t expected_size(int fd) {
    struct stat status;
    if (fstat(fd, &status) == -1 || !S_ISREG(status.st_mode))
        return 0;
    const off_t left = status.st_size - lseek(fd, 0, SEEK_CUR);
    return left > 0 ? static_cast<std::size_t>(left) : 0;
}

void report_conversion(const char* what, const std::string& charset) {
    report({"Could not convert message ", what, " text from ", charset, " to UTF-8."});
}

std::string recode_body(std::string body, const std::string& charset, bool flush) {
    if (orvek::is_same_in_both(body, charset, "UTF-8"))
        return body;
    try {
        return orvek::iconvRecode(body, charset, "UTF-8", true, flush);
    } catch (const std::runtime_error&) {
        report_conversion("body", charset);
        return body;
    }
}

std::string decode_subject(const std::string& raw, const std::string& charset, bool flush) {
    try {
        return orvek::rfc1522::decode(raw, flush);
    } catch (const std::runtime_error&) {
        report_conversion("subject", charset);
        return {};
    }
}

std::string field_text(bool present, const DwMessageComponent& field) {
    return present ? std::string(until_nul(field.AsString().view())) : std::string();
}

struct Sender {
    std::optional<DwMailbox> mailbox;
    /// Name of the field that it stands in.
    const char* field = "";
};

/// The first usable mailbox of Reply-To, else of From.
Sender find_sender(const DwHeaders& headers, const Policy& policy) {
    Sender sender;
    if (headers.HasReplyTo())
        sender = {GetMailboxFromAddressList(headers.ReplyTo()), "Reply-To"};
    if (!sender.mailbox && headers.HasFrom())
        sender = {GetMailboxFromMailboxList(headers.From()), "From"};
    if (!sender.mailbox && policy.read_as_shown)
        sender = {only_bracketed(headers.ReplyTo().AsString().view()), "Reply-To"};
    if (!sender.mailbox && policy.read_as_shown)
        sender = {only_bracketed(headers.From().AsString().view()), "From"};
    return sender;
}

/// The entity whose text the body comes from: the message itself, or the first direct part of a
/// multipart that calls itself text, whose number then goes into `number`. None when there is none.
std::optional<DwEntity> find_text_entity(const DwMessage& message, std::size_t& number) {
    const DwHeaders& headers = message.Headers();
    if (!headers.HasContentType() || headers.ContentType().Type() == DwMime::kTypeText)
        return message;
    std::optional<DwBodyPart> part = message.Body().FirstBodyPart();
    for (number = 1; part && part->Headers().ContentType().Type() != DwMime::kTypeText; ++number)
        part = part->Next();
    return part;
}

/// The text of the part that find_text_entity finds, not recoded yet.
PartText text_of_part(const DwMessage& message) {
    PartText part{{}, default_charset, std::nullopt, {}};
    std::size_t number = 0;
    if (const std::optional<DwEntity> entity = find_text_entity(message, number)) {
        part.place = place_of(*entity, number == 0 ? "" : std::to_string(number));
        part.charset = until_nul(GetCharset(*entity).view());
        DwString decoded;
        DecodeBody(*entity, decoded);
        part.text = until_nul(decoded.view());
    }
    return part;
}

} // namespace

void set_recipient(std::string_view recipient, Mail_content* mail) {
    const std::size_t at = recipient.find('@');
    mail->to = recipient;
    mail->mailname = recipient.substr(0, at);
    mail->domain = at == std::string_view::npos ? recipient : recipient.substr(at + 1);
}

int parse_message(Reading* reading, const Policy& policy) {
    if (!mail_copy.create()) {
        report({"Could not create a temporary file."});
        return 1;
    }
    DwInitialize();
    DwString text = read_message(
        read_standard_input, [](std::string_view bytes) { mail_copy.write(bytes); },
        expected_size(STDIN_FILENO));
    mail_copy.finish();
    std::optional<Reading> read =
        read_in_cell(std::exchange(text, DwString()), std::getenv("RESP_RECIPIENT"), policy);
    if (!read)
        return 1;
    *reading = std::move(*read);
    return 0;
}

// Straight to where the text stays. std::string would clear the room first, and a mail of 25 MB
// takes a twelfth less of the processor without that.
DwString read_message(const BlockSource& source, const BlockSink& copy, std::size_t expected) {
    std::size_t room = expected + spare_room;
    auto bytes = std::make_unique_for_overwrite<char[]>(room);
    std::size_t size = 0;
    while (const std::size_t count =
               source(bytes.get() + size, std::min(room - size, largest_block))) {
        copy({bytes.get() + size, count});
        size += count;
        if (size == room) {
            auto larger = std::make_unique_for_overwrite<char[]>(room *= 2);
            std::copy_n(bytes.get(), size, larger.get());
            bytes = std::move(larger);
        }
    }
    bytes[size] = '\n';
    copy({bytes.get() + size, 1});
    const std::string_view whole(bytes.get(), size + 1);
    return DwString(std::shared_ptr<char[]>(std::move(bytes)), whole);
}

std::optional<Reading> read_content(DwString text, const char* recipient, const Policy& policy) {
    std::unique_ptr<DwMessage> message = DwMessage::NewMessage(std::exchange(text, DwString()));
    message->Parse();
    const DwHeaders& headers = message->Headers();

    Sender sender = find_sender(headers, policy);
    if (!sender.mailbox) {
        report({"Could not get sender's e-mail address from Reply-To: or From: headers."});
        return std::nullopt;
    }
    if (recipient == nullptr) {
        report({"Could not get recipient e-mail address from RESP_RECIPIENT environment variable"});
        return std::nullopt;
    }

    PartText part = policy.read_as_shown ? shown_text(*message) : text_of_part(*message);
    const std::string subject = field_text(headers.HasSubject(), headers.Subject());

    Reading reading;
    Mail_content& mail = reading.mail;
    mail.from = until_nul(
        concat({sender.mailbox->LocalPart().view(), "@", sender.mailbox->Domain().view()}));
    if (policy.standard_mail)
        mail.ascii_sender = orvek::idn::ascii_form(mail.sender());
    set_recipient(recipient, &mail);
    mail.date = field_text(headers.HasDate(), headers.Date());
    reading.facts = read_header_facts(headers, policy);
    reading.sender_field = sender.field;
    reading.text = std::move(part.place);
    // Recoding takes as much memory again; the message has told everything by now.
    sender = {};
    message.reset();
    if (policy.read_as_shown) {
        mail.body = paragraphs_of(part, case_of(policy));
        mail.subject = without_controls(shown_subject(subject));
        mail.subject_letters = orvek::letters_of_line(mail.subject, case_of(policy));
    } else {
        mail.body = recode_body(std::move(part.text), part.charset, policy.standard_mail);
        mail.subject = decode_subject(subject, part.charset, policy.standard_mail);
    }
    mail.charset = std::move(part.charset);
    return reading;
}

DwString GetCharset(const DwEntity& entity) {
    return entity.Headers().ContentType().Parameter("charset").value_or(DwString(default_charset));
}

void DecodeBody(const DwEntity& entity, DwString& out) {
    const DwHeaders& headers = entity.Headers();
    out = entity.Body().AsString();
    if (!headers.HasContentTransferEncoding())
        return;
    const int encoding = headers.ContentTransferEncoding().AsEnum();
    if (encoding == DwMime::kCteBase64)
        DwDecodeBase64(out, out);
    else if (encoding == DwMime::kCteQuotedPrintable)
        DwDecodeQuotedPrintable(out, out);
}

std::optional<DwMailbox> GetMailboxFromAddressList(const DwAddressList& list) {
    for (auto address = list.FirstAddress(); address; address = address->Next()) {
        if (address->IsValid() && !address->IsGroup() && address->IsMailbox())
            return DwMailbox(*address);
    }
    return std::nullopt;
}

std::optional<DwMailbox> GetMailboxFromMailboxList(const DwMailboxList& list) {
    auto mailbox = list.FirstMailbox();
    while (mailbox && !mailbox->IsValid())
        mailbox = mailbox->Next();
    return mailbox;
}
