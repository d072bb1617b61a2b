// Bounded copying of text.
#pragma once

#include <cstddef>
#include <cstring>

#ifndef OVK_HAVE_STRLCPY
/// Copies at most `siz` - 1 bytes of `src` and always terminates `dst` unless `siz` is 0. Returns
/// the length of `src`: a result of `siz` or more means that it was cut.
extern "C" std::size_t strlcpy(char* dst, const char* src, std::size_t siz) noexcept;
#endif
