#include "autoresponder/incoming/automatic.h"

#include "base/text.h"
#include "mimelib/field_text.h"
#include "mimelib/mimelib.h"

#include <algorithm>
#include <string_view>

using mimelib::Scanner;

namespace {

constexpr std::string_view suppress = "x-auto-response-suppress"; // the one that is a list
constexpr std::string_view all_but_no = "!no";

constexpr char null_path[] = "Return-Path is null";
constexpr char report[] = "Content-Type is multipart/report";

/// What a field says with a word, which is its first; with any where none stands here.
constexpr struct {
    std::string_view field, word, reason;
} signs[] = {
    {"auto-submitted", all_but_no, "Auto-Submitted says so"},
    {"precedence", "bulk", "Precedence is bulk"},
    {"precedence", "list", "Precedence is list"},
    {"precedence", "junk", "Precedence is junk"},
    {suppress, "all", "X-Auto-Response-Suppress holds all"},
    {suppress, "oof", "X-Auto-Response-Suppress holds oof"},
    {suppress, "autoreply", "X-Auto-Response-Suppress holds autoreply"},
    {"x-spam-flag", "yes", "A spam filter says so"},
    {"x-spam-status", "yes", "A spam filter says so"},
    {"list-id", "", "List-Id is present"},
    {"list-help", "", "List-Help is present"},
    {"list-subscribe", "", "List-Subscribe is present"},
    {"list-unsubscribe", "", "List-Unsubscribe is present"},
    {"list-post", "", "List-Post is present"},
    {"list-owner", "", "List-Owner is present"},
    {"list-archive", "", "List-Archive is present"},
};

bool is_word(std::string_view wanted, std::string_view word) {
    return wanted.empty() || wanted == word || (wanted == all_but_no && word != "no");
}

} // namespace

std::string automatic_sign(std::string_view name, std::string_view body) {
    const auto is_of_field = [name](const auto& sign) { return sign.field == name; };
    if (std::ranges::none_of(signs, is_of_field))
        return {};
    Scanner scanner(body);
    do {
        const std::string word = to_lower(scanner.take_word(name == suppress ? ",(" : ",;("));
        for (const auto& sign : signs) {
            if (is_of_field(sign) && is_word(sign.word, word))
                return std::string(sign.reason);
        }
    } while (name == suppress && (scanner.take_behind_white(',') || scanner.skip_white()));
    return {};
}

bool is_automatic_sign(std::string_view reason) {
    return std::ranges::any_of(signs, [reason](const auto& sign) { return sign.reason == reason; });
}

bool is_bounce_sign(std::string_view reason) {
    return reason == null_path || reason == report;
}

std::string bounce_sign(std::string_view name, std::string_view body) {
    Scanner path(body);
    if (name == "return-path" && path.take_behind_white('<') && path.take_behind_white('>'))
        return null_path;
    if (name != "content-type")
        return {};
    const DwMediaType type{DwString(body)};
    const bool is_multipart = type.Type() == DwMime::kTypeMultipart;
    return is_multipart && type.HasSubtype("report") ? report : "";
}

std::string daemon_sign(const std::string& sender) {
    const std::string lower = to_lower(sender);
    for (const std::string_view daemon : {"mailer-daemon", "drweb-daemon"}) {
        if (lower.find(daemon) != std::string::npos)
            return concat({"From or Reply-To contains ", daemon});
    }
    return {};
}

std::string plain_local_part(const std::string& address) {
    std::string local = to_lower(std::string_view(address).substr(0, address.rfind('@')));
    std::erase(local, '"');
    return local;
}

std::string sender_sign(const std::string& sender) {
    const std::string local = plain_local_part(sender);
    for (const std::string_view program : {"postmaster", "listserv", "majordomo", "noreply",
                                           "no-reply", "do-not-reply", "donotreply"}) {
        if (local == program)
            return concat({"From or Reply-To is ", program});
    }
    if (local.starts_with("owner-"))
        return "From or Reply-To begins with owner-";
    for (const std::string_view ending : {"-request", "-owner", "-bounces", "-noreply"}) {
        if (local.ends_with(ending))
            return concat({"From or Reply-To ends with ", ending});
    }
    return {};
}
