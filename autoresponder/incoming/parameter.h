// Content fields as mail programs read them.
#pragma once

#include "mimelib/mimelib.h"

#include <string>
#include <string_view>

/// The value of the first parameter of that name, which is in lower case, or of the one that RFC
/// 2231 writes as "name*" or in the pieces "name*0", "name*1" and so on, its encoding undone. Empty
/// when there is none of at most 1,000 bytes.
std::string shown_parameter(const DwMediaType& type, std::string_view name);

/// Whether the entity is an attachment by its Content-Disposition.
bool is_attachment(const DwEntity& entity);
