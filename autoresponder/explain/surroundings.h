// What lies around a run: its host, and what there is nearby when a mailbox is not found.
#pragma once

#include "autoresponder/explain/explanation.h"

/// Opens the host's files, to see whether that can be done.
HostFacts host_facts(const Policy& policy);

/// Asks over the connection of the run. A failed statement throws QueryFailure.
Surroundings surroundings_of(const Run& run);
