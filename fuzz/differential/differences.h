// What GMime reads differently, and why ours is right here.
#pragma once

#include <string>
#include <vector>

/// One kind of difference. Where a difference is of this kind, GMime comes to our opinion of the
/// message once it is written so that the cause is gone.
struct Difference {
    const char* kind;
    /// Why ours is right here.
    const char* reason;
    /// The cause, as a regular expression over bytes ("." is any but a line feed), and what
    /// stands in its place in the message without the cause.
    const char* cause;
    const char* replacement;
    /// Whether we are to read the changed message too: where it cannot but give another result.
    bool reread = false;
};

/// The first two are those that end a header early.
extern const std::vector<Difference> differences;

/// `message` with the cause taken away: the first one, or all of them.
std::string without_cause(const Difference& difference, bool first_only,
                          const std::string& message);
