// Template substitution: copies text into a buffer of fixed size and replaces placeholders, names
// between two delimiter characters, from a sorted table. Zero-terminated byte strings throughout;
// nothing is allocated.
#pragma once

#include <cstdint>

/// One parameter. Both texts belong to the caller.
struct par_templ {
    const char* name;  ///< compared byte by byte
    const char* value; ///< put in as it is; null for a placeholder that disappears
};

/// For repl_ctl::flags: when a value does not fit, stop before it instead of cutting it.
inline constexpr std::uint32_t REPL_STOP_ON_OVERFLOW = 1;
/// For repl_ctl::flags: leave placeholders with unknown names as they are written.
inline constexpr std::uint32_t REPL_KEEP_UNKNOWN = 2;

/// For repl_ctl::status: stopped before a value that did not fit.
inline constexpr std::uint32_t REPL_STOPPED = 1;
/// For repl_ctl::status: at least one unknown placeholder was kept.
inline constexpr std::uint32_t REPL_UNKNOWN_KEPT = 2;

/// What one substitution is told, and what it tells.
struct repl_ctl {
    std::uint32_t in_count;  ///< out: characters of the source that are accounted for
    std::uint32_t out_count; ///< out: characters in the output
    std::uint32_t flags;     ///< in: REPL_STOP_ON_OVERFLOW, REPL_KEEP_UNKNOWN
    std::uint32_t status;    ///< out: REPL_STOPPED, REPL_UNKNOWN_KEPT
};

/// Copies `src` to `dst` with every placeholder `open` name `close` replaced. A name has 1 to 32
/// characters. `dst` holds at most `dst_size` characters and needs room for one byte more; the
/// first `ctl->out_count` are the result, which the caller terminates (a result shorter than
/// `dst_size` is terminated already). `params` must be sorted as templ_quick_sort sorts. An empty
/// table gives the empty text. Returns `dst`.
char* templ_replace(char open, char close, const par_templ* params, unsigned long count,
                    const char* src, char* dst, unsigned long dst_size, repl_ctl* ctl);

/// Index of the parameter of that name in a sorted table, -1 when there is none.
int templ_found(const char* name, const par_templ* params, int count);

/// Sorts the table in place by name, in byte order.
void templ_quick_sort(par_templ* params, int count);

/// Sorts the elements from `lo` to `hi`, both included.
void qs(par_templ* params, int lo, int hi);
