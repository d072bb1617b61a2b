#include "lib/utilities/spawn.h"

#include "lib/product_log.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <unistd.h>

namespace spawn {

Pipe open_high_pipe() {
    const Pipe low = open_pipe();
    if (!low)
        return {};
    return {Descriptor(fcntl(low.read_end.get(), F_DUPFD_CLOEXEC, first_other)),
            Descriptor(fcntl(low.write_end.get(), F_DUPFD_CLOEXEC, first_other))};
}

std::vector<const char*> collect(const char* failure, const char* first, va_list args) {
    try {
        std::vector<const char*> vector;
        if (first != nullptr)
            vector.push_back(first);
        do
            vector.push_back(va_arg(args, const char*));
        while (vector.back() != nullptr);
        return vector;
    } catch (const std::bad_alloc&) {
        end_with_failure("%s%s", failure, std::strerror(errno));
    }
}

std::vector<const char*> collect(va_list args) {
    return collect("malloc() failed: ", nullptr, args);
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
