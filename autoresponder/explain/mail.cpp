#include "autoresponder/deciding/guards.h"
#include "autoresponder/explain/gather.h"
#include "autoresponder/explain/listener.h"
#include "autoresponder/incoming/intake.h"

#include <algorithm>
#include <string_view>

namespace {

void tell_content(const IncomingMail& mail, const ReadingPlaces& places, MailFacts& told) {
    const std::string& text = mail.content.body.text();
    told.sender = mail.content.from;
    told.sender_field = places.sender;
    told.subject = mail.content.subject;
    told.date = mail.content.date;
    told.text = places.text;
    told.charset = mail.content.charset;
    const std::string_view filled =
        std::string_view(text).substr(0, text.find_last_not_of("\r\n") + 1);
    told.lines = filled.empty()
                     ? 0
                     : static_cast<std::size_t>(std::count(filled.begin(), filled.end(), '\n')) + 1;
}

} // namespace

MailFacts read_mail(const Question& question, const Policy& policy, IncomingMail* mail) {
    MailFacts told;
    set_recipient(question.recipient, &mail->content);
    if (!question.mail)
        return told;
    told.given = true;
    ReadingPlaces places;
    bool is_read = false;
    {
        const Listener listener;
        is_read = read_content(*question.mail, question.recipient.c_str(), policy, &mail->content,
                               &mail->facts, &places) == 0;
        told.complaints = listener.lines();
    }
    if (!is_read) {
        told.refusal = told.complaints.back();
        told.complaints.pop_back();
        told.stopped = true;
        return told;
    }
    tell_content(*mail, places, told);
    told.refusal = guard(mail->content, mail->facts, policy).reason;
    told.stopped = !told.refusal.empty();
    return told;
}
