#include "lib/utilities/spawn.h"

#include "lib/product_log.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace spawn {

Pipe open_high_pipe() {
    const Pipe low = open_pipe();
    if (!low)
        return {};
    return {Descriptor(fcntl(low.read_end.get(), F_DUPFD_CLOEXEC, first_other)),
            Descriptor(fcntl(low.write_end.get(), F_DUPFD_CLOEXEC, first_other))};
}

Vector collect_all(const char* first, va_list args) {
    va_list counted;
    va_copy(counted, args);
    std::size_t count = first == nullptr ? 0 : 1;
    while (va_arg(counted, const char*) != nullptr)
        ++count;
    va_end(counted);

    Vector vector(static_cast<const char**>(std::malloc((count + 1) * sizeof(const char*))));
    if (!vector)
        return vector;
    std::size_t i = 0;
    if (first != nullptr)
        vector[i++] = first;
    while (i < count)
        vector[i++] = va_arg(args, const char*);
    vector[count] = nullptr;
    return vector;
}

Vector collect_or_exit(va_list args) {
    Vector vector = collect_all(nullptr, args);
    if (!vector)
        end_with_failure("malloc() failed: %s", std::strerror(errno));
    return vector;
}

FixedVector collect_fixed(const char* path, va_list args) {
    FixedVector vector = {path};
    for (std::size_t i = 1; i + 1 < vector.size(); ++i) {
        vector[i] = va_arg(args, const char*);
        if (vector[i] == nullptr)
            break;
    }
    return vector;
}

} // namespace spawn
