// The whole intake, from the blocks of standard input to Mail_content, and the message's structure.
#include "autoresponder/intake.h"
#include "autoresponder/policy/destinations.h"

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

std::string_view take_line(std::string_view& text) {
    const std::string_view line = text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1);
    text.remove_prefix(line.size());
    return line;
}

std::string find_delimiter(const DwMediaType& type) {
    std::string delimiter = "--";
    for (DwParameterReader reader(type); reader.Next();) {
        DwString name = reader.Parameter().Attribute();
        name.ConvertToLowerCase();
        if (name == "boundary") {
            delimiter += reader.Parameter().Value().str();
            break;
        }
    }
    return delimiter.erase(delimiter.find_last_not_of(" \t") + 1);
}

void check_no_delimiter(std::string_view part, const std::string& delimiter) {
    while (!part.empty()) {
        std::string_view line = take_line(part);
        line = line.substr(0, line.find_last_not_of(" \t\r\n") + 1);
        require(line != delimiter && line != delimiter + "--", "no delimiter line within a part");
    }
}

/// Body parts follow one another in the body, with one delimiter line between them.
void check_parts(const DwMessage& message) {
    const std::string delimiter = find_delimiter(message.Headers().ContentType());
    const std::string_view body = message.Body().AsString().view();
    std::size_t at = 0;
    for (DwBodyPartReader parts(message.Body()); parts.Next();) {
        const DwBodyPart& part = parts.Part();
        const std::string_view text = part.AsString().view();
        require(lies_within(text, body), "parts are slices of the body");
        const auto start = static_cast<std::size_t>(text.data() - body.data());
        require(at < start, "parts in order");
        std::string_view between = body.substr(at, start - at);
        if (at > 0 && between.substr(0, 2) == "\r\n") {
            between.remove_prefix(2);
        } else if (at > 0 && between.front() == '\n') {
            between.remove_prefix(1);
            require(body[at - 1] != '\r', "the line end before a delimiter is no part's");
        }
        if (at == 0) // the preamble
            between.remove_prefix(between.find_last_of('\n', between.size() - 2) + 1);
        require(between.substr(0, delimiter.size()) == delimiter &&
                    between.find('\n') == between.size() - 1,
                "a delimiter line stands before every part");
        check_no_delimiter(text, delimiter);
        at = start + text.size();
        require(check_entity(part).empty(), "a part begins with its header");
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

void check_content(const Mail_content& mail, const HeaderFacts& facts,
                   const std::string& recipient) {
    require(mail.from.size() >= 3 && mail.from.find('@') != std::string::npos, "a sender");
    require(!holds_control(mail.from) && !holds_control(facts.automatic) &&
                !holds_control(facts.thread.message_id) && !holds_control(facts.thread.references),
            "no control characters in what gets into headers as it is");
    any_destination(facts.destinations, [](const std::string& address) {
        require(!holds_control(address), "no control characters in addresses");
        return false;
    });
    require(mail.to == recipient && mail.mailname + "@" + mail.domain == recipient, "a recipient");
    require(!mail.body.empty(), "a body has a line");
    require(mail.date.find('\0') == std::string::npos &&
                mail.charset.find('\0') == std::string::npos,
            "no NUL byte in texts");
}

/// What a person would see is text.
void check_shown(const Mail_content& mail) {
    require(!holds_control(mail.subject), "no control characters in a subject that is shown");
    const std::string& body = mail.body.text();
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
        Mail_content mail;
        HeaderFacts facts;
        Policy policy;
        policy.read_as_shown = as_shown;
        policy.ignore_case = size % 2 == 1;
        const bool taken = read_content(text, recipient.c_str(), policy, &mail, &facts) == 0;
        require(taken || (mail.from.empty() && mail.to.empty() && mail.body.empty()),
                "refused, untouched");
        if (taken)
            check_content(mail, facts, recipient);
        if (taken && as_shown)
            check_shown(mail);
    }
    return 0;
}
