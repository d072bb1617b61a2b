// The limit on the size of a reply, and what goes out instead of a larger one.
#pragma once

#include "autoresponder/deciding/context.h"
#include "autoresponder/deciding/rules.h"
#include "autoresponder/run/temporary_file.h"

#include <cstdint>

inline constexpr char size_limit_file[] = "/var/qmail/control/databytes";

/// The most bytes that a reply may have: the mail system's limit (size_limit_file), or
/// 1 GiB where that names none. Read once a run; one that cannot be read is said then.
std::uint64_t size_limit();

/// Writes the short reply that says so, in place of what `reply` holds. Its subject is cut where it
/// alone would make the reply larger than `limit`.
void write_oversize_reply(const ResponderRule& rule, const Run& run, const std::string& own_address,
                          std::uint64_t limit, TemporaryFile& reply);
