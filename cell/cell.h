// A cell: a child of the process that holds nothing, in which bytes of strangers are read. Whoever
// breaks the reader, or a converter of the C library's, is then in a process without rights, files,
// descriptors and calls (confinement.h), and can do no more than answer something else.
//
// The child has the parent's memory as it is when the cell is made, so that must hold no secret.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace cell {

/// What a cell answers: byte strings of any length.
using Texts = std::vector<std::string>;

/// What is done in a cell. It may throw std::bad_alloc; any other exception breaks it.
using Work = std::function<Texts()>;

enum class End {
    answered,
    broken,    ///< by itself, a limit of the cell, the filter or the clock; it would happen again
    no_memory, ///< the host's or under the run's own limits
    not_made   ///< no process or pipe; errno says why
};

struct Outcome {
    End end = End::broken;
    std::string reason;        ///< of a broken one, as the end of a sentence
    Texts texts;               ///< of an answered one; else empty
    std::uint64_t holding = 0; ///< bit n of an answered one: the nth of confinements() holds in it
};

struct Limits {
    std::size_t memory; ///< bytes beyond what the process has; an answer has no more either
    std::chrono::seconds time;
};

/// For work that is about `size` bytes.
Limits limits_for(std::size_t size);

/// Does `work` in a cell and waits for what comes of it. `work` and all that it holds is let go
/// here as soon as the child has it. Whatever is answered is a stranger's text: nothing but its
/// length has been looked at. Never ends the process; throws std::bad_alloc where the answer finds
/// no room here.
Outcome run(Work work, const Limits& limits);

struct Confinement {
    const char* name;
    bool holds;
};

/// Which confinements hold on this host, found out by making a cell. Empty where none can be made.
std::vector<Confinement> confinements();

} // namespace cell
