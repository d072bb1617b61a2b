#include "autoresponder/incoming/automatic.h"

#include "base/text.h"
#include "mimelib/field_text.h"
#include "mimelib/mimelib.h"

#include <algorithm>
#include <array>
#include <string_view>

using mimelib::Scanner;

namespace {

template <std::size_t Size>
using Words = std::array<std::string_view, Size>;

template <std::size_t Size>
bool is_one_of(const Words<Size>& words, std::string_view lower_word) {
    return std::find(words.begin(), words.end(), lower_word) != words.end();
}

/// The next word in lower case, comments and white space passed over; empty where there is none.
std::string next_word(Scanner& scanner, std::string_view stops) {
    scanner.skip_white_and_comments();
    return to_lower(scanner.take_until(stops));
}

std::string first_word(std::string_view body) {
    Scanner scanner(body);
    return next_word(scanner, ",;(");
}

// The signs, each for the body of one field: a reason, or nothing.

std::string auto_submitted_sign(std::string_view body) {
    return first_word(body) == "no" ? "" : "Auto-Submitted says so";
}

std::string precedence_sign(std::string_view body) {
    static constexpr Words<3> automatic = {"bulk", "list", "junk"};
    const std::string word = first_word(body);
    return is_one_of(automatic, word) ? "Precedence is " + word : "";
}

std::string suppress_sign(std::string_view body) {
    static constexpr Words<3> for_us = {"all", "oof", "autoreply"};
    Scanner scanner(body);
    do {
        const std::string word = next_word(scanner, ",(");
        if (is_one_of(for_us, word))
            return "X-Auto-Response-Suppress holds " + word;
        scanner.skip_white_and_comments();
        if (!scanner.at_end() && scanner.peek() == ',')
            scanner.take();
    } while (!scanner.at_end());
    return {};
}

std::string spam_sign(std::string_view body) {
    return first_word(body) == "yes" ? "A spam filter says so" : "";
}

std::string content_type_sign(std::string_view body) {
    const DwMediaType type{DwString(body)};
    return type.Type() == DwMime::kTypeMultipart && type.HasSubtype("report")
               ? "Content-Type is multipart/report"
               : "";
}

std::string return_path_sign(std::string_view body) {
    Scanner scanner(body);
    scanner.skip_white_and_comments();
    if (scanner.at_end() || scanner.take() != '<')
        return {};
    scanner.skip_white_and_comments();
    return !scanner.at_end() && scanner.peek() == '>' ? "Return-Path is null" : "";
}

constexpr Words<7> list_fields = {"List-Id",   "List-Help",  "List-Subscribe", "List-Unsubscribe",
                                  "List-Post", "List-Owner", "List-Archive"};

std::string list_sign(std::string_view name) {
    for (const std::string_view field : list_fields) {
        if (equals_ignoring_case(name, field))
            return concat({field, " is present"});
    }
    return {};
}

constexpr struct {
    std::string_view name;
    std::string (*sign)(std::string_view body);
} signed_fields[] = {
    {"auto-submitted", auto_submitted_sign},
    {"precedence", precedence_sign},
    {"x-auto-response-suppress", suppress_sign},
    {"x-spam-flag", spam_sign},
    {"x-spam-status", spam_sign},
};

} // namespace

std::string automatic_sign(std::string_view name, std::string_view body) {
    for (const auto& field : signed_fields) {
        if (name == field.name)
            return field.sign(body);
    }
    return list_sign(name);
}

bool is_automatic_sign(std::string_view reason) {
    // Every known word, so that each field gives every reason that it can.
    static constexpr Words<7> words = {"yes", "bulk", "list", "junk", "all", "oof", "autoreply"};
    for (const std::string_view word : words) {
        for (const auto& field : signed_fields) {
            if (field.sign(word) == reason)
                return true;
        }
    }
    return std::any_of(list_fields.begin(), list_fields.end(),
                       [&](std::string_view field) { return list_sign(field) == reason; });
}

bool is_bounce_sign(std::string_view reason) {
    return reason == content_type_sign("multipart/report") || reason == return_path_sign("<>");
}

std::string bounce_sign(std::string_view name, std::string_view body) {
    if (name == "content-type")
        return content_type_sign(body);
    return name == "return-path" ? return_path_sign(body) : "";
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
    static constexpr Words<7> programs = {"postmaster", "listserv",     "majordomo", "noreply",
                                          "no-reply",   "do-not-reply", "donotreply"};
    static constexpr Words<4> endings = {"-request", "-owner", "-bounces", "-noreply"};
    const std::string local = plain_local_part(sender);
    if (is_one_of(programs, local))
        return "From or Reply-To is " + local;
    if (local.starts_with("owner-"))
        return "From or Reply-To begins with owner-";
    for (const std::string_view ending : endings) {
        if (local.ends_with(ending))
            return concat({"From or Reply-To ends with ", ending});
    }
    return {};
}
