#include "autoresponder/incoming/cell_reading.h"

#include "autoresponder/incoming/automatic.h"
#include "autoresponder/incoming/destinations.h"
#include "autoresponder/incoming/intake.h"
#include "autoresponder/incoming/subject.h"
#include "autoresponder/incoming/thread.h"
#include "autoresponder/run/in_cell.h"
#include "autoresponder/run/number.h"
#include "base/report.h"
#include "base/text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <ctime>
#include <iterator>
#include <string_view>
#include <utility>

namespace cell_reading {

namespace {

constexpr char yes[] = "1";

/// The codecs say a hundred of each kind.
constexpr std::size_t most_said = 1000;

/// All texts of a reading but the recipient's.
std::array<std::string*, 17> fields_of(Reading& reading) {
    Mail_content& mail = reading.mail;
    HeaderFacts& facts = reading.facts;
    return {&mail.from,
            &mail.ascii_sender,
            &mail.subject,
            &mail.subject_letters,
            &mail.date,
            &mail.charset,
            &mail.body,
            &facts.automatic,
            &facts.bounce,
            &facts.destinations,
            &facts.thread.message_id,
            &facts.thread.references,
            &facts.forwarded_by,
            &reading.sender_field,
            &reading.text.number,
            &reading.text.type,
            &reading.text.encoding};
}

bool has_control(std::string_view text) {
    return std::any_of(text.begin(), text.end(), is_control);
}

bool is_without_nul(std::string_view text) {
    return until_nul(text).size() == text.size();
}

/// A field's line ends have blanks behind them, which no piece that is told holds.
bool is_one_line(const std::string& said) {
    return said.find('\n') >= said.size() - 1; // also for none, of either
}

bool has_form_of_list(std::string_view addresses) {
    return (addresses.empty() || addresses.back() == '\0') && !any_address(addresses, has_control);
}

bool has_form(const MailThread& thread) {
    std::string_view ids = thread.references;
    while (!ids.empty()) {
        const std::size_t end = std::min(ids.find(' '), ids.size() - 1);
        if (!is_msg_id(ids.substr(0, end)))
            return false;
        ids.remove_prefix(end + 1);
    }
    const std::size_t length =
        thread_line::references.size() + thread.references.size() + thread.message_id.size();
    return thread.message_id.empty()
               ? thread.references.empty()
               : is_msg_id(thread.message_id) && length <= thread_line::max_line;
}

bool has_form(const Reading& reading, const Policy& policy) {
    const Mail_content& mail = reading.mail;
    const HeaderFacts& facts = reading.facts;
    return contains(mail.from, "@") && !has_control(mail.from) && !has_control(mail.ascii_sender) &&
           (!policy.read_as_shown || without_controls(mail.subject) == mail.subject) &&
           is_without_nul(mail.date) && is_without_nul(mail.charset) &&
           (facts.automatic.empty() || is_automatic_sign(facts.automatic)) &&
           (facts.bounce.empty() || is_bounce_sign(facts.bounce)) &&
           has_form_of_list(facts.destinations) && has_form(facts.thread) &&
           (facts.forwarded_by.empty() || facts.forwarded_by.back() == '\0') &&
           (reading.sender_field == "Reply-To" || reading.sender_field == "From") &&
           reading.text.number.find_first_not_of("0123456789.") == std::string::npos;
}

} // namespace

cell::Texts texts_of(Told told) {
    cell::Texts texts;
    texts.emplace_back(told.reading ? yes : "");
    if (told.reading) {
        for (std::string* const field : fields_of(*told.reading))
            texts.push_back(std::move(*field));
        const std::optional<std::time_t>& received = told.reading->facts.received;
        texts.push_back(received ? std::to_string(*received) : "");
        texts.emplace_back(told.reading->text.exists ? yes : "");
    }
    std::move(told.said.begin(), told.said.end(), std::back_inserter(texts));
    return texts;
}

std::optional<Told> told_by(cell::Texts texts, const Policy& policy) {
    Told told;
    std::size_t next = 0;
    if (texts.empty())
        return std::nullopt;
    if (texts[next++] == yes) {
        Reading& reading = told.reading.emplace();
        const auto fields = fields_of(reading);
        if (texts.size() < 1 + fields.size() + 2)
            return std::nullopt;
        for (std::string* const field : fields)
            *field = std::move(texts[next++]);
        reading.facts.received = whole_number<std::time_t>(texts[next++]);
        reading.text.exists = texts[next++] == yes;
        if (!has_form(reading, policy))
            return std::nullopt;
    }
    texts.erase(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(next));
    const bool is_silent = !told.reading && texts.empty(); // why there is none is always said
    if (is_silent || texts.size() > most_said ||
        !std::all_of(texts.begin(), texts.end(), is_one_line))
        return std::nullopt;
    told.said = std::move(texts);
    return told;
}

} // namespace cell_reading

std::optional<Reading> read_in_cell(DwString text, const char* recipient, const Policy& policy) {
    const std::size_t size = text.size();
    cell::Work work = [text = std::exchange(text, DwString()), recipient, &policy]() mutable {
        cell_reading::Told told;
        const Listening listening([&](std::string_view line) { told.said.emplace_back(line); });
        told.reading = read_content(std::exchange(text, DwString()), recipient, policy);
        return cell_reading::texts_of(std::move(told));
    };
    std::string why = "an answer out of form";
    std::optional<cell_reading::Told> told;
    if (std::optional<cell::Texts> texts = do_in_cell(std::move(work), size, why))
        told = cell_reading::told_by(*std::move(texts), policy);
    if (!told) {
        report({"autoresponder: The mail cannot be read: ", why});
        return std::nullopt;
    }
    for (const std::string& line : told->said)
        say({line}); // each is as it goes out
    if (told->reading && recipient != nullptr)
        set_recipient(recipient, &told->reading->mail);
    return std::move(told->reading);
}
