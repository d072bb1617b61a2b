// Senders whose fields are not written as they should be.
#pragma once

#include "mimelib/mimelib.h"

#include <memory>

/// The one "<local@domain>" that a Reply-To field holds, else that of From, whatever stands before
/// and behind it; "mailto:" before the address and what "?" begins behind that play no part. Null
/// when neither field holds exactly one. The name of the field goes into `field`. For mail where
/// find_sender finds nothing.
std::unique_ptr<const DwMailbox> save_sender(const DwHeaders& headers, const char** field);
