// What there is nearby when a mailbox is not found.
#pragma once

#include "autoresponder/explain/explanation.h"

/// Asks over the connection of the run. A failed statement throws QueryFailure.
Surroundings surroundings_of(const Run& run);
