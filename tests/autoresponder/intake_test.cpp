#include "autoresponder/incoming/cell_reading.h"
#include "autoresponder/incoming/intake.h"

#include "tests/support/cases.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>

namespace {

struct Intake {
    bool refused;
    Mail_content mail;
    std::string diagnostics;
};

Intake take_in(const std::string& message, const char* recipient = "box@example.com") {
    testing::internal::CaptureStderr();
    const std::optional<Reading> reading = read_in_cell(DwString(message), recipient, {});
    return {!reading, reading.value_or(Reading()).mail, testing::internal::GetCapturedStderr()};
}

constexpr char no_sender[] =
    "Could not get sender's e-mail address from Reply-To: or From: headers.\n";

TEST(Intake, TakesTheSenderFromReplyToThenFrom) {
    for (const Case& row : cases("autoresponder/responder.cases", "senders", 2)) {
        const Intake intake = take_in(row[0] + "\nbody\n");
        const bool refused = row[1] == "-";
        EXPECT_EQ(intake.refused, refused) << row[0];
        EXPECT_EQ(intake.mail.from, refused ? "" : row[1]) << row[0];
        EXPECT_EQ(intake.diagnostics, refused ? no_sender : "") << row[0];
    }
}

TEST(Intake, ChoosesTheTextPart) {
    for (const Case& row : cases("autoresponder/responder.cases", "texts", 4)) {
        const Intake intake = take_in("From: joe@example.org\n" + row[1]);
        EXPECT_EQ(intake.mail.charset, row[2]) << row[0];
        EXPECT_EQ(intake.mail.body, row[3]) << row[0];
        EXPECT_EQ(intake.diagnostics, "") << row[0];
    }
}

// What real mails and malformed ones come to. The results are those that another parser agreed to,
// or that were found right where it did not (docs/SECURITY.md).
TEST(Intake, ReadsEveryMailAsBefore) {
    for (const Case& row : cases("autoresponder/mails.cases", "mails", 6)) {
        std::ifstream file(OVK_TESTS_FOLDER "/../fuzz/seeds/intake/" + row[0]);
        const Intake intake = take_in({std::istreambuf_iterator<char>(file), {}});
        const Mail_content& mail = intake.mail;
        const Case found = {row[0],       mail.from, mail.charset,
                            mail.subject, mail.body, intake.diagnostics};
        EXPECT_EQ(found, row);
    }
}

TEST(Intake, ReadsTheSameWhereverBlocksEnd) {
    // Sizes about that of the first room, which holds 65535 bytes more than were expected.
    for (const std::size_t size : {0u, 1u, 65534u, 65535u, 65536u, 131071u, 400000u}) {
        std::string input;
        while (input.size() < size)
            input += static_cast<char>(input.size() % 251);
        for (const std::size_t block : {1u, 7777u, 1u << 20}) {
            for (const std::size_t expected : {std::size_t{0}, size / 2, size}) {
                std::string_view left = input;
                std::string copy;
                const DwString text = read_message(
                    [&](char* to, std::size_t room) {
                        const std::size_t count = left.copy(to, std::min(block, room));
                        left.remove_prefix(count);
                        return count;
                    },
                    [&](std::string_view bytes) { copy += bytes; }, expected);
                EXPECT_TRUE(text.view() == input + "\n" && copy == text.view())
                    << size << ' ' << block << ' ' << expected;
            }
        }
    }
}

TEST(Intake, TakesNothingFromACellThatNoReaderGives) {
    using namespace std::string_literals;
    const auto tell = [](const std::function<void(Reading&)>& lie, bool shown) {
        Policy policy;
        policy.read_as_shown = shown;
        Reading reading;
        reading.mail.from = "joe@example.org";
        reading.sender_field = "From";
        lie(reading);
        return cell_reading::told_by(cell_reading::texts_of({{}, reading}), policy).has_value();
    };
    const auto thread = [](const std::string& message_id, const std::string& references) {
        return [=](Reading& told) { told.facts.thread = {message_id, references}; };
    };
    EXPECT_TRUE(tell([](Reading&) {}, true));
    const std::function<void(Reading&)> lies[] = {
        [](Reading& told) { told.mail.from = ""; },
        [](Reading& told) { told.mail.from = "joe"; },
        [](Reading& told) { told.mail.from = "joe@example.org\nBcc: all@example.org"; },
        [](Reading& told) { told.mail.from = "joe@example.org\0"s; },
        [](Reading& told) { told.mail.date = "\0"s; },
        [](Reading& told) { told.mail.charset = "\0"s; },
        [](Reading& told) { told.sender_field = "Bcc"; },
        [](Reading& told) { told.text.number = "1\x1b[2J"; },
        [](Reading& told) { told.facts.automatic = "Precedence is mine"; },
        [](Reading& told) { told.facts.bounce = "Precedence is bulk"; },
        [](Reading& told) { told.facts.destinations = "a@b"; },
        [](Reading& told) { told.facts.destinations = "a\n@b\0"s; },
        [](Reading& told) { told.facts.forwarded_by = "a@b"; },
        [](Reading& told) { told.facts.thread.references = "<a@b> "; },
        thread("<a@b>\nBcc: c@d", ""),
        thread("<a@b>", "<c@d>"),
        thread("<a@b>", "c "),
        thread("<a@b>",
               concat({"<a@", std::string(500, 'b'), "> <a@", std::string(500, 'b'), "> "})),
    };
    for (std::size_t i = 0; i < std::size(lies); ++i)
        EXPECT_FALSE(tell(lies[i], false)) << i;
    const auto control = [](Reading& told) { told.mail.subject = "\x1b[2J"; };
    EXPECT_TRUE(tell(control, false));
    EXPECT_FALSE(tell(control, true));
    EXPECT_FALSE(cell_reading::told_by({}, {}).has_value());
    EXPECT_FALSE(cell_reading::told_by({""}, {}).has_value()); // and not why
    EXPECT_FALSE(cell_reading::told_by({"1", "joe@example.org"}, {}).has_value());
    EXPECT_TRUE(cell_reading::told_by({"", "said", "", "said\n"}, {}).has_value());
    EXPECT_FALSE(cell_reading::told_by({"", "said\nforged"}, {}).has_value());
    EXPECT_FALSE(cell_reading::told_by(cell::Texts(1002), {}).has_value());
}

} // namespace
