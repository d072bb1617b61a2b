#include "lib/product_log.h"

#include "base/owned.h"
#include "base/report.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <libgen.h>
#include <string_view>

const char* PROGNAME = nullptr;
int (*failure_status)() = [] { return EXIT_FAILURE; };

namespace {

constexpr std::size_t cut_size = 4096;

/// The formatted message and the appendix; cut to 4095 characters when there is no memory for more.
/// Null when there is no memory at all.
__attribute__((format(printf, 1, 0))) MallocedText format(const char* fmt, va_list args,
                                                          const char* appendix) {
    va_list again;
    va_copy(again, args);
    const int wanted = std::max(std::vsnprintf(nullptr, 0, fmt, again), 0);
    va_end(again);
    std::size_t size = static_cast<std::size_t>(wanted) + std::strlen(appendix) + 1;
    MallocedText text(static_cast<char*>(std::calloc(size, 1)));
    if (!text) {
        size = std::min(size, cut_size);
        text.reset(static_cast<char*>(std::calloc(size, 1)));
    }
    if (text) {
        std::vsnprintf(text.get(), size, fmt, args);
        const std::size_t length = std::strlen(text.get());
        std::snprintf(text.get() + length, size - length, "%s", appendix);
    }
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
    char appendix[512] = "";
    if (pending != 0)
        std::snprintf(appendix, sizeof appendix, "\nSystem error %d: %s", pending,
                      std::strerror(pending));
    const MallocedText text = format(fmt, args, appendix);
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
