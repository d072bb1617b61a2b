// Helpers for memory, zero-terminated text and command lines, beside those of lib/libcommon.h.
#pragma once

#include "lib/libcommon.h"

#include <cstddef>

/// A new block, which the caller frees. Fails as realloc_safe does.
void* malloc_safe(std::size_t size);

/// Writes `src` with every occurrence of `from` replaced by `to` into `dst`, which has room for `n`
/// bytes, and returns `dst`. Each stretch of text, each replacement and the tail is written whole
/// or not at all, and nothing behind one that does not fit; the result is terminated. Text that was
/// put in is not searched again. With an empty or null `from` this is strncpy. A null `dst` gives
/// null. Without memory a message is written and `src` is copied as it is, cut to fit.
char* strn_replace(const char* src, char* dst, const char* from, const char* to, unsigned n);

/// Lower-cases in place by the current locale. Null is left alone.
void strtolower(char* text);

/// A lower-cased copy, which the caller frees. Null for null, and, after a message, without memory.
char* strtolower_dynamic(const char* text);

/// Copies `src` to `dst` with `to` for every `from`, up to and with the terminator, or rewrites
/// `src` in place when `dst` is null. Returns what was written. With a NUL as `to` the result ends
/// at the first `from`.
char* orvek_chch(char* src, char* dst, char from, char to);

/// Ends the process with status 1, after a message that names `DisplayName`, when
/// `checkParameter` is not 0 and `Parameter` is null or empty.
void check_parameter(int checkParameter, const char* Parameter, const char* DisplayName);

/// Ends the process with status 1, after a message, unless `argc` equals `next`, which is
/// getopt's optind when all options have been taken.
void check_unprocessed_parameters(int argc, int next, char** argv);
