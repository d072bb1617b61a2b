// Triggers, sought as the rules say or, where the host wants it so, as a person reads.
#pragma once

#include "autoresponder/deciding/rules.h"
#include "autoresponder/incoming/mail_content.h"
#include "autoresponder/run/account.h"
#include "autoresponder/run/switches.h"

#include <optional>
#include <string_view>

/// Where the rule's trigger first occurs, byte for byte, in the subject or within one line of the
/// body; none where it does not. A rule without a trigger always has an occurrence, of nothing.
/// Takes time in proportion to both together. Where mail is read as it is shown, white space
/// matches any white space, and letters are compared by their normal form: a place is one in those;
/// a trigger of nothing that is seen then occurs nowhere.
std::optional<TriggerFacts> find_trigger(const ResponderRule& rule, const Mail_content& mail,
                                         const Policy& policy);

/// The text that the rule's trigger is sought in; none for a rule without one.
std::optional<std::string_view> trigger_text(const ResponderRule& rule, const Mail_content& mail,
                                             const Policy& policy);
