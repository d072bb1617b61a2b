// Reply composition: builds the reply of one rule in a temporary file, replaces it by a short error
// reply when it is larger than the mail system allows, and has it delivered.
#pragma once

#include "autoresponder/deciding/rules.h"
#include "autoresponder/outgoing/reply_context.h"
#include "autoresponder/run/temporary_file.h"

#include <cstdint>
#include <functional>
#include <string>

struct ComposedReply {
    std::string envelope_sender;
    /// Whether the reply was larger than the limit, and the file holds the short one instead.
    bool oversize = false;
};

/// Writes the reply of `rule` to `reply`, which takes `limit` bytes. Files that the rule names and
/// that do not exist are left out; `tell_missing` is called with their names, a line feed behind
/// each, before the writing begins. A recipient without an ASCII form throws orvek::idn::IdnaError
/// after that. A failed attachment query ends the process through give_up.
ComposedReply compose_reply(const ResponderRule& rule, const ReplyContext& context,
                            std::uint64_t limit, TemporaryFile& reply,
                            const std::function<void(const std::string& missing)>& tell_missing);

/// Composes and delivers the reply of `rule`. Files that the rule names and that do not exist are
/// told to the client by mail, and the reply goes without them. Returns when the reply has been
/// handed to sendmail or given up: whether it is sent. A failed attachment query ends the process
/// through give_up; a recipient without an ASCII form and a reply file that cannot be opened end it
/// with status 1.
bool send_reply(const ResponderRule& rule, const ReplyContext& context);

/// A boundary of 39 characters, different at each call (RFC 2046). The generator is not seeded:
/// every process draws the same sequence.
std::string makeBoundaryStr();
