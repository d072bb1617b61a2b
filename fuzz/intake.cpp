// The whole intake, from the blocks of standard input to Mail_content, and the message's structure.
#include "autoresponder/incoming/intake.h"
#include "autoresponder/incoming/cell_reading.h"

#include "base/text.h"
#include "codecs/utf8.h"
#include "fuzz/fuzz.h"

#include <algorithm>
#include <functional>
#include <string>

namespace {

bool lies_within(std::string_view part, std::string_view whole) {
    const std::less_equal<const char*> before;
    return before(whole.data(), part.data()) &&
           before(part.data() + part.size(), whole.data() + whole.size());
}

/// Header and body lie in the entity's text, and nothing but an empty line between them.
/// Returns what stands before the header.
std::string_view check_entity(const DwEntity& entity) {
    const std::string_view text = entity.AsString().view();
    const std::string_view header = entity.Headers().AsString().view();
    const std::string_view body = entity.Body().AsString().view();
    require(lies_within(header, text) && lies_within(body, text), "slices of the entity");
    const char* const header_end = header.data() + header.size();
    require(header_end <= body.data(), "the body stands behind the header");
    const std::string_view between(header_end, static_cast<std::size_t>(body.data() - header_end));
    require(between.empty() ? body.substr(0, 1) != "\n" && body.substr(0, 2) != "\r\n"
                            : between == "\n" || between == "\r\n",
            "an empty line between header and body, if there is one");
    require(body.data() + body.size() == text.data() + text.size(), "the body is all the rest");
    return {text.data(), static_cast<std::size_t>(header.data() - text.data())};
}

/// Body parts are slices of the body.
void check_parts(const DwMessage& message) {
    for (auto part = message.Body().FirstBodyPart(); part; part = part->Next()) {
        require(lies_within(part->AsString().view(), message.Body().AsString().view()),
                "parts are slices of the body");
        require(check_entity(*part).empty(), "a part begins with its header");
    }
}

void check_structure(const DwString& text) {
    const std::unique_ptr<DwMessage> message = DwMessage::NewMessage(text);
    message->Parse();
    const std::string_view mbox_line = check_entity(*message);
    require(mbox_line.empty() ||
                (mbox_line.substr(0, 5) == "From " && mbox_line.find('\n') == mbox_line.size() - 1),
            "nothing but an mbox line before the header");
    check_parts(*message);
}

bool holds_control(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 32 || c == 127; });
}

void check_content(const Reading& reading, const Policy& policy, const std::string& recipient) {
    const Mail_content& mail = reading.mail;
    require(mail.from.size() >= 3, "a sender");
    require(mail.to == recipient && mail.mailname + "@" + mail.domain == recipient, "a recipient");
    const auto told = cell_reading::told_by(cell_reading::texts_of({{"said"}, reading}), policy);
    require(told && told->said.size() == 1 && told->reading &&
                told->reading->mail.body == mail.body &&
                told->reading->facts.received == reading.facts.received &&
                told->reading->text.encoding == reading.text.encoding,
            "what is read comes out of a cell, and has the form that is asked for there");
}

/// What a person would see is text.
void check_shown(const Mail_content& mail) {
    require(!holds_control(mail.subject), "no control characters in a subject that is shown");
    const std::string& body = mail.body;
    require(body.find("  ") == std::string::npos && body.find('\t') == std::string::npos,
            "one blank for any white space");
    for (const std::string& text : {body, mail.subject})
        require(orvek::well_formed_utf8_length(text) == text.size(),
                "UTF-8 whatever the mail says");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string_view input = as_text(data, size);
    // The input itself says where it is cut into blocks.
    std::size_t at = 0;
    std::string copy;
    const DwString text = read_message(
        [&](char* block, std::size_t room) {
            const std::size_t count =
                at == size ? 0 : std::min({std::size_t{data[at]} + 1, size - at, room});
            std::copy_n(input.data() + at, count, block);
            at += count;
            return count;
        },
        [&](std::string_view block) { copy += block; });
    require(text.view() == std::string(input) + "\n" && copy == text.view(),
            "the message and its copy are the input and a line feed, however it came");

    check_structure(text);
    const std::string recipient = "box@example.com";
    for (const bool as_shown : {false, true}) {
        Policy policy;
        policy.read_as_shown = as_shown;
        policy.ignore_case = policy.addressed_only = size % 2 == 1;
        const std::optional<Reading> reading = read_content(text, recipient.c_str(), policy);
        if (reading)
            check_content(*reading, policy, recipient);
        if (reading && as_shown)
            check_shown(reading->mail);
    }
    return 0;
}
