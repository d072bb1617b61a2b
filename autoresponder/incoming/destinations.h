// Whom a message's header says that it was sent to.
#pragma once

#include <functional>
#include <string>
#include <string_view>

/// The addresses of a field, each as local part, "@", domain and a NUL; those of groups count.
std::string addresses_of(std::string_view body);

/// Whether one of such addresses is `wanted`.
bool any_address(std::string_view addresses,
                 const std::function<bool(const std::string& address)>& wanted);
