// What is taken from a cell before it begins to read, a step at a time. A step that the kernel
// lacks or the host does not allow is left out, and the others hold.
#pragma once

#include <cstddef>
#include <sys/types.h>

namespace cell {

/// What a step goes by.
struct Bounds {
    std::size_t memory; ///< bytes beyond what the process has
    unsigned seconds;   ///< of the processor
    pid_t parent;
};

struct Step {
    const char* name;
    bool (*take)(const Bounds& bounds); ///< whether it holds from then on
};

/// The steps in the order in which they are taken.
inline constexpr std::size_t step_count = 6;
extern const Step steps[step_count];

/// Takes them all. Bit n is set where steps[n] holds.
unsigned confine(const Bounds& bounds);

} // namespace cell
