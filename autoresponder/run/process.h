// The frame of the process: the state that it wants to start from.
#pragma once

/// Puts the process into a state that does not depend on who started it: descriptors 0, 1 and 2
/// are open (on /dev/null where the caller left them closed, so that no socket or temporary file
/// can become one of them), a set-uid start has laid down what its caller could leave to it, a
/// reader that has gone away and a file that may grow no further are a failed write and not a
/// signal, a signal that asks the process to end removes the temporary files first, and an
/// exception that nobody expected ends the process with a message and status 1 (ending.h).
void prepare_process();
