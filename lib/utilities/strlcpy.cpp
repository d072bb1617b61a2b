#include "lib/utilities/strlcpy.h"

#ifndef OVK_HAVE_STRLCPY

#include <algorithm>

std::size_t strlcpy(char* dst, const char* src, std::size_t siz) noexcept {
    const std::size_t length = std::strlen(src);
    if (siz != 0) {
        const std::size_t copied = std::min(length, siz - 1);
        std::memcpy(dst, src, copied);
        dst[copied] = '\0';
    }
    return length;
}

#endif
