#include "lib/product_log.h"

#include "base/owned.h"
#include "base/report.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <libgen.h>
#include <string_view>

const char* PROGNAME = nullptr;
int (*failure_status)() = [] { return EXIT_FAILURE; };

namespace {

constexpr std::size_t first_size = 4096;

/// What tells of a pending system error; nothing for none.
using Appendix = std::array<char, 512>;

Appendix appendix_for(int error) {
    Appendix text = {};
    if (error != 0)
        std::snprintf(text.data(), text.size(), "\nSystem error %d: %s", error,
                      std::strerror(error));
    return text;
}

/// The formatted message and the appendix; cut to 4095 characters when there is no memory for more.
/// Null when there is no memory at all.
__attribute__((format(printf, 1, 0))) MallocedText format(const char* fmt, va_list args,
                                                          const char* appendix) {
    va_list again;
    va_copy(again, args);
    std::size_t size = first_size;
    MallocedText text(static_cast<char*>(std::calloc(size, 1)));
    if (text) {
        const int wanted = std::max(std::vsnprintf(text.get(), size, fmt, args), 0);
        const std::size_t whole = static_cast<std::size_t>(wanted) + std::strlen(appendix) + 1;
        char* const grown = whole > size ? static_cast<char*>(std::malloc(whole)) : nullptr;
        if (grown != nullptr) {
            text.reset(grown);
            size = whole;
            std::vsnprintf(grown, size, fmt, again);
        }
        const std::size_t length = std::strlen(text.get());
        std::snprintf(text.get() + length, size - length, "%s", appendix);
    }
    va_end(again);
    return text;
}

} // namespace

void messlog2(int status, int mess_out, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    vmesslog2(status, mess_out, fmt, args);
    va_end(args);
}

void vmesslog2(int status, int mess_out, const char* fmt, va_list args) {
    const int pending = errno;
    const MallocedText text = format(fmt, args, appendix_for(pending).data());
    errno = pending;
    ex_messlog(text ? text.get() : "Can't allocate memory for error message", status, mess_out);
    errno = pending;
}

void end_with_failure(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    vmesslog2(0, 1, fmt, args);
    va_end(args);
    std::exit(failure_status());
}

int ex_messlog(const char* msg, int status, int) {
    // basename() may write into its argument.
    const MallocedText path(PROGNAME == nullptr ? nullptr : strdup(PROGNAME));
    const char* const front = path ? basename(path.get()) : "";
    const char* const colon = path ? ": " : "";
    const std::string_view text = msg;
    const bool has_end = text.ends_with('\n');
    say({front, colon, text.substr(0, text.size() - has_end)});
    if (!Listening::is_on()) {
        std::fprintf(stdout, "%s%s%s%s", front, colon, msg, has_end ? "" : "\n");
        std::fflush(stdout);
    }
    if (status != 0)
        std::exit(status);
    return 0;
}
