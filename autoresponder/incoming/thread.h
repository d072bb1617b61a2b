// The thread that a mail stands in, read from its header.
#pragma once

#include "autoresponder/incoming/header_facts.h"

#include <cstddef>
#include <optional>
#include <string_view>

/// The lines of a reply that name its thread: what is read has to fit into them.
namespace thread_line {
/// RFC 5322 section 2.1.1, without the line end.
inline constexpr std::size_t max_line = 998;
inline constexpr std::string_view in_reply_to = "In-Reply-To: ";
inline constexpr std::string_view references = "References: ";
} // namespace thread_line

/// Whether `text` is a msg-id (RFC 5322 section 3.6.4) without its obsolete forms, short enough for
/// any line that it goes into.
bool is_msg_id(std::string_view text);

/// Finds the identity of a message and of those before it among the fields of its header (RFC 5322
/// section 3.6.4). Only what matches the strict syntax of a msg-id gets through.
class ThreadFields {
public:
    /// The next field; its name is in lower case. `body` stays until thread() has been called.
    void take(std::string_view name, std::string_view body);

    MailThread thread() const;

private:
    std::string_view id_;
    std::optional<std::string_view> references_;
    std::string_view parent_;
};
