#include "autoresponder/incoming/thread.h"

#include "base/text.h"
#include "mimelib/field_text.h"

#include <algorithm>
#include <string_view>

namespace {

using mimelib::is_dot_atom;

bool is_domain_literal(std::string_view text) {
    return text.size() >= 2 && text.front() == '[' && text.back() == ']' &&
           std::all_of(text.begin() + 1, text.end() - 1, [](char c) {
               return c > ' ' && c < 127 && c != '[' && c != ']' && c != '\\';
           });
}

/// The one msg-id that a field holds, comments around it allowed; empty for anything else.
std::string_view single_id(std::string_view body) {
    mimelib::Scanner scanner(body);
    const std::string_view id = scanner.take_word("(");
    return !scanner.skip_white() && is_msg_id(id) ? id : std::string_view();
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

} // namespace

bool is_msg_id(std::string_view text) {
    if (text.size() < 5 || text.size() > thread_line::max_line - thread_line::in_reply_to.size() ||
        text.front() != '<' || text.back() != '>')
        return false;
    const std::string_view id = text.substr(1, text.size() - 2);
    const std::size_t at = id.find('@');
    if (at == std::string_view::npos)
        return false;
    const std::string_view right = id.substr(at + 1);
    return is_dot_atom(id.substr(0, at)) && (is_dot_atom(right) || is_domain_literal(right));
}

MailThread thread_of(std::string_view id, std::optional<std::string_view> references,
                     std::string_view parent) {
    MailThread thread{std::string(single_id(id)), {}};
    if (thread.message_id.empty())
        return thread;
    // Without References, the parent's one parent is all that is known of the thread.
    thread.references =
        last_ids(references ? *references : single_id(parent),
                 thread_line::max_line - thread_line::references.size() - thread.message_id.size());
    return thread;
}
