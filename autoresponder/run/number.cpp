#include "autoresponder/run/number.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <system_error>

std::int32_t decimal_number(const std::string& text) {
    using Limits = std::numeric_limits<std::int32_t>;
    const int saved = errno;
    const long value = std::strtol(text.c_str(), nullptr, 10);
    errno = saved;
    return static_cast<std::int32_t>(std::clamp<long>(value, Limits::min(), Limits::max()));
}

int number_up_to(int most, std::string_view text, int otherwise) {
    int number = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_whole = end.ec == std::errc() && end.ptr == text.data() + text.size();
    return is_whole && number >= 1 && number <= most ? number : otherwise;
}
