#include "lib/utilities/asprintf_safe.h"

#include "lib/product_log.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

char* asprintf_safe(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    char* const text = vasprintf_safe(fmt, args);
    va_end(args);
    return text;
}

char* vasprintf_safe(const char* fmt, va_list args) {
    char* text = nullptr;
    if (vasprintf(&text, fmt, args) == -1)
        end_with_failure("Cannot allocate memory: %s", std::strerror(errno));
    return text;
}
