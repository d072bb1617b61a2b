// What each rule of a mailbox would do with a mail.
#pragma once

#include "autoresponder/explain/facts.h"
#include "autoresponder/explain/gather.h"
#include "autoresponder/outgoing/reply_context.h"

#include "base/owned.h"

#include <vector>

/// All rules in the server's order. `mail` tells whether there is one, whether the program would
/// come to the rules, and whether it would answer. `reply` becomes the one that the question asks
/// for, unless the mailbox has no such rule or the reply fails. Throws when there is no room for
/// one.
std::vector<RuleFacts> explain_rules(const ReplyContext& context, const MailFacts& mail,
                                     const Question& question, Descriptor& reply);
