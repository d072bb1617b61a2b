// Content transfer encodings (RFC 2045 section 6).
#pragma once

#include "mimelib/string.h"

/// Decodes Base64: bytes outside the alphabet are skipped, the first "=" ends the text, and a rest
/// of two or three characters gives one or two bytes. `out` may be `in`. Returns 0: no input is an
/// error.
int DwDecodeBase64(const DwString& in, DwString& out);

/// Decodes quoted-printable: soft line breaks go ("=", blanks and a line end, or the end of the
/// text), malformed "=" sequences and everything else stay as written. `out` may be `in`. Returns
/// 0: no input is an error.
int DwDecodeQuotedPrintable(const DwString& in, DwString& out);
