// What the members of the process-execution family share that only other programs of the panel
// call: pipes from a child and argument vectors, beside what lib/spawn.h has.
#pragma once

#include "base/io.h"
#include "lib/spawn.h"

#include <array>
#include <cstdarg>
#include <vector>

namespace spawn {

/// A pipe to a child, of whose ends neither is 0, 1 or 2: where the caller has closed one of those,
/// a pipe end there would be taken for what the child is to have there. False with errno set.
Pipe open_high_pipe();

/// All variadic arguments up to the null, `first` (where not null) in front of them, and a null.
/// Without memory the process ends with status 1, after a message that begins with `failure`.
std::vector<const char*> collect(const char* failure, const char* first, va_list args);

/// The arguments alone.
std::vector<const char*> collect(va_list args);

/// A vector of a fixed size: at most 100 entries and a null.
using FixedVector = std::array<const char*, 101>;

/// `path` and the variadic arguments up to the null; those behind the 99th are ignored.
FixedVector collect_fixed(const char* path, va_list args);

} // namespace spawn

/// Declares `name` to be what `made` makes of `args`, the variadic arguments behind `last`.
#define OVK_COLLECT(name, last, made)                                                              \
    va_list args;                                                                                  \
    va_start(args, last);                                                                          \
    const auto name = made;                                                                        \
    va_end(args)
