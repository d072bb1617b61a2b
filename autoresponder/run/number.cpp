#include "autoresponder/run/number.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>

std::int32_t decimal_number(const std::string& text) {
    using Limits = std::numeric_limits<std::int32_t>;
    const int saved = errno;
    const long value = std::strtol(text.c_str(), nullptr, 10);
    errno = saved;
    return static_cast<std::int32_t>(std::clamp<long>(value, Limits::min(), Limits::max()));
}

int number_up_to(int most, std::string_view text, int otherwise) {
    const int number = whole_number<int>(text).value_or(0);
    return number >= 1 && number <= most ? number : otherwise;
}
