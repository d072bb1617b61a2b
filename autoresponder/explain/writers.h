// The two forms of an explanation.
#pragma once

#include "autoresponder/explain/explanation.h"
#include "autoresponder/explain/screen.h"

#include <string>

/// For people.
std::string as_text(const Explanation& explanation, const Style& style);

/// For programs: one document in ASCII, a line feed behind it.
std::string as_json(const Explanation& explanation);
