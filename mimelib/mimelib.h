// The MIME layer: parses a message held in memory (RFC 5322, RFC 2045, RFC 2046).
//
// One copy of the text: everything handed out is a slice of it or was decoded from it. Any bytes
// can be parsed; the time is linear in their number.
#pragma once

#include "mimelib/address.h"
#include "mimelib/component.h"
#include "mimelib/headers.h"
#include "mimelib/media_type.h"
#include "mimelib/message.h"
#include "mimelib/string.h"
#include "mimelib/transfer.h"
