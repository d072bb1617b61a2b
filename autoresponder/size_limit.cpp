#include "autoresponder/size_limit.h"

#include "autoresponder/number.h"
#include "base/owned.h"
#include "codecs/charset.h"

#include <cstdio>

namespace {

constexpr char size_limit_path[] = "/var/qmail/control/databytes";

/// No mail server takes more, and an attachment that is all hole costs its owner nothing, but every
/// mail hours.
constexpr std::uint64_t ceiling = std::uint64_t{1} << 30;

} // namespace

std::uint64_t size_limit() {
    const File file(std::fopen(size_limit_path, "re"));
    char* text = nullptr;
    std::size_t size = 0;
    const bool is_read = file && getdelim(&text, &size, '\0', file.get()) != -1;
    const MallocedText owner(text);
    const std::int32_t limit = is_read ? decimal_number(text) : 0;
    return limit > 0 ? static_cast<std::uint64_t>(limit) : ceiling;
}

void write_oversize_reply(const ResponderRule& rule, const ReplyContext& context,
                          TemporaryFile& reply) {
    reply.restart();
    if (!rule.reply_to.empty())
        reply.line({"Reply-To: ", rule.reply_to});
    reply.line({"From: ", context.mail.to});
    reply.line({"CC: "});
    reply.line({"Subject: ", orvek::rfc1522::encode("Re: " + context.mail.subject)});
    reply.write(context.chosen_headers());
    reply.line({});
    reply.line({"An error occurred while responding on you request."});
    reply.line({});
    reply.line({"Autoresponder message size exceeds databytes limit."});
    reply.write("\n\n\n");
}
