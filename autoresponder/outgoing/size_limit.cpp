#include "autoresponder/outgoing/size_limit.h"

#include "autoresponder/outgoing/form.h"
#include "autoresponder/outgoing/reply_headers.h"
#include "autoresponder/run/number.h"
#include "base/io.h"
#include "base/owned.h"
#include "base/report.h"
#include "base/text.h"
#include "codecs/utf8.h"

#include <algorithm>
#include <bit>
#include <fcntl.h>
#include <string_view>

namespace {

/// No mail server takes more, and an attachment that is all hole costs its owner nothing, but every
/// mail hours.
constexpr std::uint64_t ceiling = std::uint64_t{1} << 30;

/// The value for the longest front part, in whole characters, that gives one of at most `most`
/// bytes.
std::string cut_subject(const std::string& subject, std::size_t most, const Form& form) {
    std::size_t kept = 0;
    for (std::size_t step = std::bit_floor(std::min(subject.size(), most)); step > 0; step /= 2) {
        if (kept + step <= subject.size() &&
            form.subject_value(subject.substr(0, kept + step)).size() <= most)
            kept += step;
    }
    const std::string_view front = std::string_view(subject).substr(0, kept);
    return form.subject_value(std::string(orvek::without_cut_character(front)));
}

std::uint64_t read_limit() {
    const Descriptor file(open(size_limit_file, O_RDONLY | O_CLOEXEC));
    char text[4096] = "";
    if (!file || read_some(file.get(), text, sizeof text - 1) == -1)
        report_unreadable(size_limit_file);
    const std::int32_t limit = decimal_number(text);
    return limit > 0 ? static_cast<std::uint64_t>(limit) : ceiling;
}

} // namespace

std::uint64_t size_limit() {
    static const std::uint64_t limit = read_limit();
    return limit;
}

void write_oversize_reply(const ResponderRule& rule, const Run& run, const std::string& own_address,
                          std::uint64_t limit, TemporaryFile& reply) {
    const Form form(run.policy);
    const Mail_content& mail = run.reading.mail;
    const std::string before = form.short_head(
        rule.reply_to, concat({"From: ", form.short_from(mail.to, own_address), "\n"}));
    const std::string behind =
        concat({"\n", chosen_reply_headers(run),
                "\nAn error occurred while responding on you request.\n\n"
                "Autoresponder message size exceeds databytes limit.\n\n\n\n"});
    std::string subject = form.subject_value("Re: " + mail.subject);
    const std::uint64_t others = before.size() + behind.size();
    if (others < limit && subject.size() > limit - others)
        subject = cut_subject("Re: " + mail.subject, limit - others, form);
    reply.restart();
    for (const std::string& piece : {before, subject, behind})
        reply.write(piece);
}
