// What came of a run, in one line of the system log's mail facility, as mail servers write theirs.
#pragma once

#include "autoresponder/deciding/context.h"

/// Starts the clock, and has the line written when the process exits, whatever way. The account of
/// `run` is read at that moment and must still be there.
void start_run_log(const Run& run);
