// Triggers, sought as the rules say or, where the host wants it so, as a person reads.
#pragma once

#include "autoresponder/policy/switches.h"
#include "autoresponder/rules.h"
#include "codecs/letters.h"

#include <string>

/// How the host wants letters to be compared.
orvek::Case case_of(const Policy& policy);

/// The triggers of all rules, sought in one mail.
class TriggerSearch {
public:
    /// Both must outlive the search.
    TriggerSearch(const Mail_content& mail, const Policy& policy);

    /// Whether the rule's trigger occurs. Where mail is read as it is shown, white space matches
    /// any white space, and letters are compared by their normal form; a trigger of nothing that is
    /// seen then occurs nowhere.
    bool finds(const ResponderRule& rule) const;

private:
    const Mail_content& mail_;
    const Policy& policy_;
    std::string subject_; // its letters, where mail is read as it is shown
};
