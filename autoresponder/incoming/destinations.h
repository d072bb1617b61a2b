// Whom a message's header says that it was sent to.
#pragma once

#include <functional>
#include <string>
#include <string_view>

/// Whether one of the addresses of `destinations`, as HeaderFacts has them, is `wanted`; it is
/// given as local part, "@" and domain. Those of groups count; fields are read one by one, so
/// nothing left open in one hides the next.
bool any_destination(std::string_view destinations,
                     const std::function<bool(const std::string& address)>& wanted);
