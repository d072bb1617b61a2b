#include "autoresponder/text.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>

std::string concat(std::initializer_list<std::string_view> pieces) {
    std::size_t size = 0;
    for (const std::string_view piece : pieces)
        size += piece.size();
    std::string whole;
    whole.reserve(size);
    for (const std::string_view piece : pieces)
        whole += piece;
    return whole;
}

std::string_view until_nul(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

std::int32_t decimal_number(const std::string& text) {
    using Limits = std::numeric_limits<std::int32_t>;
    const int saved = errno;
    const long value = std::strtol(text.c_str(), nullptr, 10);
    errno = saved;
    return static_cast<std::int32_t>(std::clamp<long>(value, Limits::min(), Limits::max()));
}
