#include "autoresponder/policy/thread.h"

#include "base/text.h"
#include "codecs/idn.h"
#include "mimelib/field_text.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <sys/random.h>
#include <unistd.h>

namespace {

/// RFC 5322 section 2.1.1, without the line end.
constexpr std::size_t max_line = 998;
constexpr std::string_view in_reply_to = "In-Reply-To: ";
constexpr std::string_view references = "References: ";

bool is_atom_character(char c) {
    return is_alphanumeric(c) || contains("!#$%&'*+-/=?^_`{|}~", {&c, 1});
}

bool is_dot_atom(std::string_view text) {
    char before = '.';
    for (const char c : text) {
        if (c == '.' ? before == '.' : !is_atom_character(c))
            return false;
        before = c;
    }
    return before != '.';
}

bool is_domain_literal(std::string_view text) {
    return text.size() >= 2 && text.front() == '[' && text.back() == ']' &&
           std::all_of(text.begin() + 1, text.end() - 1, [](char c) {
               return c > ' ' && c < 127 && c != '[' && c != ']' && c != '\\';
           });
}

/// A msg-id without its obsolete forms and short enough for any line that it goes into.
bool is_msg_id(std::string_view text) {
    if (text.size() < 5 || text.size() > max_line - in_reply_to.size() || text.front() != '<' ||
        text.back() != '>')
        return false;
    const std::string_view id = text.substr(1, text.size() - 2);
    const std::size_t at = id.find('@');
    if (at == std::string_view::npos)
        return false;
    const std::string_view right = id.substr(at + 1);
    return is_dot_atom(id.substr(0, at)) && (is_dot_atom(right) || is_domain_literal(right));
}

/// The one msg-id that a field holds, comments around it allowed; empty for anything else.
std::string single_id(std::string_view body) {
    mimelib::Scanner scanner(body);
    scanner.skip_white_and_comments();
    const std::string_view id = scanner.take_until("(");
    scanner.skip_white_and_comments();
    return scanner.at_end() && is_msg_id(id) ? std::string(id) : std::string();
}

/// The last msg-ids of a field that fit into `room` characters with a blank behind each, in their
/// order. Reads backwards, so that it need not keep those that do not fit.
std::string last_ids(std::string_view body, std::size_t room) {
    std::string ids;
    for (;;) {
        const std::size_t end = body.rfind('>');
        const std::size_t start = end == std::string_view::npos ? end : body.rfind('<', end);
        if (start == std::string_view::npos)
            return ids;
        const std::string_view id = body.substr(start, end + 1 - start);
        if (is_msg_id(id)) {
            if (ids.size() + id.size() + 1 > room)
                return ids;
            ids.insert(0, concat({id, " "}));
        }
        body = body.substr(0, start);
    }
}

std::string date() {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    std::array<char, 64> text = {};
    localtime_r(&now, &local);
    const std::size_t length =
        std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S %z", &local);
    return std::string(text.data(), length);
}

/// Time and process tell messages of one host apart; the random number those of hosts that share a
/// domain, and of containers that share a process id.
std::string unique_left() {
    std::timespec now = {};
    std::uint64_t random = 0;
    std::array<char, 96> text = {};
    clock_gettime(CLOCK_REALTIME, &now);
    [[maybe_unused]] const ssize_t filled = getrandom(&random, sizeof random, 0);
    std::snprintf(text.data(), text.size(), "%" PRIdMAX ".%09ld.%" PRIdMAX ".%016" PRIx64,
                  static_cast<std::intmax_t>(now.tv_sec), now.tv_nsec,
                  static_cast<std::intmax_t>(getpid()), random);
    return text.data();
}

std::string new_message_id(const std::string& domain) {
    try {
        std::string id = concat({"<", unique_left(), "@", orvek::idn::toAscii(domain), ">"});
        return is_msg_id(id) ? id : std::string();
    } catch (const orvek::idn::IdnaError&) {
        return {};
    }
}

/// One msg-id a line.
std::string fold(std::string ids) {
    for (std::size_t blank = 0; (blank = ids.find(' ', blank)) != std::string::npos; blank += 2)
        ids.insert(blank, 1, '\n');
    return ids;
}

} // namespace

MailThread read_thread(const DwHeaders& headers) {
    std::string_view id_field, reference_field, parent_field;
    bool has_references = false;
    for (DwFieldReader field(headers.AsString().view()); field.Next();) {
        const auto is = [&](std::string_view name) {
            return equals_ignoring_case(field.Name(), name);
        };
        if (is("message-id") && id_field.empty()) {
            id_field = field.Body();
        } else if (is("references")) {
            reference_field = field.Body();
            has_references = true;
        } else if (is("in-reply-to")) {
            parent_field = field.Body();
        }
    }
    MailThread thread;
    thread.message_id = single_id(id_field);
    if (thread.message_id.empty())
        return thread;
    // Without References, the parent's one parent is all that is known of the thread.
    const std::string parent = has_references ? std::string() : single_id(parent_field);
    thread.references = last_ids(has_references ? reference_field : parent,
                                 max_line - references.size() - thread.message_id.size());
    return thread;
}

std::string automatic_reply_headers(const std::string& domain, const MailThread& thread) {
    const std::string id = new_message_id(domain);
    std::string lines = concat({"Date: ", date(), "\n"});
    if (!id.empty())
        lines += concat({"Message-ID: ", id, "\n"});
    lines += "Auto-Submitted: auto-replied\nX-Auto-Response-Suppress: All\n";
    if (!thread.message_id.empty()) {
        lines += concat({in_reply_to, thread.message_id, "\n"});
        lines += concat({references, fold(thread.references + thread.message_id), "\n"});
    }
    return lines;
}
