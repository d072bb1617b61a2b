#include "lib/product_log.h"

#include "base/owned.h"
#include "base/report.h"

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

/// basename() may write into its argument, so it gets a copy.
MallocedText program_name() {
    if (PROGNAME == nullptr)
        return nullptr;
    const MallocedText path(strdup(PROGNAME));
    return MallocedText(path ? strdup(basename(path.get())) : nullptr);
}

/// Grows `buffer` to `size` bytes; false leaves it as it was.
bool grow(MallocedText& buffer, std::size_t size) {
    char* const grown = static_cast<char*>(std::realloc(buffer.get(), size));
    if (grown == nullptr)
        return false;
    static_cast<void>(buffer.release());
    buffer.reset(grown);
    return true;
}

/// The formatted message; cut to 4095 characters when there is no memory for more. `size` gets the
/// size of the buffer. Null when there is no memory at all.
__attribute__((format(printf, 1, 0))) MallocedText format(const char* fmt, va_list args,
                                                          std::size_t& size) {
    va_list again;
    va_copy(again, args);
    size = first_size;
    MallocedText text(static_cast<char*>(std::malloc(size)));
    if (text) {
        const int wanted = std::vsnprintf(text.get(), size, fmt, args);
        const std::size_t length = wanted < 0 ? 0 : static_cast<std::size_t>(wanted);
        if (wanted < 0) {
            text.get()[0] = '\0';
        } else if (length >= size && grow(text, length + 1)) {
            size = length + 1;
            std::vsnprintf(text.get(), size, fmt, again);
        }
    }
    va_end(again);
    return text;
}

void append_system_error(MallocedText& text, std::size_t size, int error) {
    constexpr char appendix[] = "\nSystem error %d: %s";
    const char* const description = std::strerror(error);
    const std::size_t length = std::strlen(text.get());
    const int wanted = std::snprintf(nullptr, 0, appendix, error, description);
    if (wanted < 0)
        return;
    const std::size_t whole = length + static_cast<std::size_t>(wanted) + 1;
    if (whole > size && grow(text, whole))
        size = whole;
    std::snprintf(text.get() + length, size - length, appendix, error, description);
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
    std::size_t size;
    MallocedText text = format(fmt, args, size);
    if (!text) {
        ex_messlog("Can't allocate memory for error message", status, mess_out);
        return;
    }
    if (pending != 0)
        append_system_error(text, size, pending);
    errno = pending;
    ex_messlog(text.get(), status, mess_out);
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
    const MallocedText name = program_name();
    const char* const front = name ? name.get() : "";
    const char* const colon = name ? ": " : "";
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
