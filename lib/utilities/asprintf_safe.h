// Formatted allocation that cannot fail.
#pragma once

#include <cstdarg>

/// The formatted text, which the caller frees. Without memory the process ends with status 1, after
/// a message.
char* asprintf_safe(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
char* vasprintf_safe(const char* fmt, va_list args) __attribute__((format(printf, 1, 0)));
