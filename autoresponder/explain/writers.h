// The two forms of an explanation.
#pragma once

#include "autoresponder/explain/explanation.h"
#include "autoresponder/explain/screen.h"

#include <string>

/// For people, as standard output takes it.
std::string as_text(const Explanation& told);

/// For programs: one document in ASCII, a line feed behind it.
std::string as_json(const Explanation& told);
