// Columns of a rule that do not mean what they look like.
#pragma once

#include "autoresponder/deciding/rules.h"
#include "autoresponder/run/switches.h"

#include <string>
#include <vector>

/// What a panel or its user has probably not meant by the rule, a sentence for each column.
std::vector<std::string> remarks_on(const ResponderRule& rule, const Policy& policy);
