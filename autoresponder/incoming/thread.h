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

/// The identity of a message and of those before it, by the bodies of its fields Message-ID,
/// References, if there is one, and In-Reply-To (RFC 5322 section 3.6.4). Only what matches the
/// strict syntax of a msg-id gets through.
MailThread thread_of(std::string_view id, std::optional<std::string_view> references,
                     std::string_view parent);
