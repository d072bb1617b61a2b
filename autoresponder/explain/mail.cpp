#include "autoresponder/deciding/guards.h"
#include "autoresponder/explain/gather.h"
#include "autoresponder/explain/listener.h"
#include "autoresponder/incoming/intake.h"

#include <algorithm>
#include <string_view>

namespace {

void tell_content(const Reading& reading, MailFacts& told) {
    const std::string& text = reading.mail.body.text();
    told.sender = reading.mail.from;
    told.sender_field = reading.sender_field;
    told.subject = reading.mail.subject;
    told.date = reading.mail.date;
    told.text = reading.text;
    told.charset = reading.mail.charset;
    const std::string_view filled =
        std::string_view(text).substr(0, text.find_last_not_of("\r\n") + 1);
    told.lines = filled.empty()
                     ? 0
                     : static_cast<std::size_t>(std::count(filled.begin(), filled.end(), '\n')) + 1;
}

} // namespace

MailFacts read_mail(const Question& question, const Policy& policy, Reading* reading) {
    MailFacts told;
    set_recipient(question.recipient, &reading->mail);
    if (!question.mail)
        return told;
    told.given = true;
    std::optional<Reading> found;
    {
        const Listener listener;
        found = read_content(*question.mail, question.recipient.c_str(), policy);
        told.complaints = listener.lines();
    }
    if (!found) {
        told.refusal = told.complaints.back();
        told.complaints.pop_back();
        told.stopped = true;
        return told;
    }
    *reading = std::move(*found);
    tell_content(*reading, told);
    told.refusal = guard(reading->mail, reading->facts, policy).reason;
    told.stopped = !told.refusal.empty();
    return told;
}
