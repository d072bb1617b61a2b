// Triggers, sought as the rules say or, where the host wants it so, as a person reads.
#pragma once

#include "autoresponder/deciding/rules.h"
#include "autoresponder/run/switches.h"
#include "reading/letters.h"

#include <optional>
#include <string>
#include <string_view>

/// The triggers of all rules, sought in one mail.
class TriggerSearch {
public:
    /// Both must outlive the search.
    TriggerSearch(const Mail_content& mail, const Policy& policy);

    /// Where the rule's trigger first occurs, as find_trigger has it. Where mail is read as it is
    /// shown, white space matches any white space, and letters are compared by their normal form: a
    /// place is one in those; a trigger of nothing that is seen then occurs nowhere.
    std::optional<Occurrence> find(const ResponderRule& rule) const;

    /// The text that the rule's trigger is sought in; none for a rule without one.
    std::optional<std::string_view> text_for(const ResponderRule& rule) const;

private:
    const Mail_content& mail_;
    const Policy& policy_;
    std::string subject_; // its letters, where mail is read as it is shown
};
