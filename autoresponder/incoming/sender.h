// Senders whose fields are not written as they should be.
#pragma once

#include "mimelib/mimelib.h"

#include <optional>
#include <string_view>

/// The one "<local@domain>" that the body of a Reply-To or From field holds, whatever stands before
/// and behind it; "mailto:" before the address and what "?" begins behind that play no part. None
/// when it does not hold exactly one. For mail where neither field is written as it should be.
std::optional<DwMailbox> only_bracketed(std::string_view field);
