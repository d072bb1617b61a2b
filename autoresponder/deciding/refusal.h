// Mail that nothing comes of, and mail that is not answered, first of all automatic mail, where the
// host chooses so (switches.h).
#pragma once

#include "autoresponder/deciding/context.h"

#include <string>

/// Whether sendmail takes `text` for no option where it would take one: what somebody outside chose
/// can so name a configuration that runs programs as root. If it would, that is told. What stands
/// behind "-f" needs no asking: -f takes its argument.
bool is_safe_argument(const std::string& text);

/// Whether the mail goes no further, whatever the mailbox and its rules: told by its sender and
/// header, before the database is asked. Says why. A bounce, where the host refuses automatic mail,
/// is among it: whatever comes of it would come back.
bool is_stopped(const Run& run);

/// Records why the mail is not to be answered: a sender that looks like an option and, as far as
/// the host chooses, a sign that no person wrote it (automatic.h), a sender that is the recipient
/// or, by any of its names, the mailbox itself, or a header that names no address of the mailbox.
/// Says so, but of the first, which only a reply would harm. Looks up the mailbox's aliases; a
/// failed statement throws QueryFailure. False where nothing at all comes of the mail, since the
/// mailbox has forwarded it once.
bool look_for_refusal(Run& run);
