// The two forms of an explanation.
#pragma once

#include "autoresponder/explain/facts.h"
#include "autoresponder/explain/screen.h"

#include <string>

/// For people.
std::string as_text(const Explanation& explanation, const Style& style);

/// For programs: one document in ASCII, a line feed behind it.
std::string as_json(const Explanation& explanation);

/// The name of an outcome.
const char* word_of(Outcome outcome);
