// Whom a message's header says that it was sent to.
#pragma once

#include "mimelib/mimelib.h"

#include <functional>
#include <string>

/// The bodies of To, Cc, Resent-To and Resent-Cc, a NUL behind each.
std::string read_destinations(const DwHeaders& headers);

/// Whether one of their addresses, given as local part, "@" and domain, is `wanted`. Those of
/// groups count; fields are read one by one, so nothing left open in one hides the next.
bool any_destination(std::string_view destinations,
                     const std::function<bool(const std::string& address)>& wanted);
