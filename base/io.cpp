#include "base/io.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

ssize_t read_some(int fd, void* bytes, std::size_t size) {
    ssize_t count;
    do
        count = read(fd, bytes, size);
    while (count == -1 && errno == EINTR);
    return count;
}

std::size_t read_fully(int fd, void* bytes, std::size_t size) {
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t count = read_some(fd, static_cast<char*>(bytes) + filled, size - filled);
        if (count <= 0)
            break;
        filled += static_cast<std::size_t>(count);
    }
    return filled;
}

bool write_fully(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(fd, bytes.data(), bytes.size());
        if (written > 0)
            bytes.remove_prefix(static_cast<std::size_t>(written));
        else if (written == 0 || errno != EINTR)
            return false;
    }
    return true;
}

void write_pieces(int fd, std::initializer_list<std::string_view> pieces, std::string_view end) {
    std::array<iovec, 16> parts;
    std::size_t count = 0;
    const auto add = [&](std::string_view piece) {
        parts.at(count++) = {const_cast<char*>(piece.data()), piece.size()};
    };
    for (const std::string_view piece : pieces)
        add(piece);
    add(end);
    [[maybe_unused]] const ssize_t written = writev(fd, parts.data(), static_cast<int>(count));
}

Pipe open_pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) == -1)
        return {};
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

pid_t wait_for(pid_t child, int* status, int options) {
    pid_t result;
    do {
        errno = 0;
        result = waitpid(child, status, options);
    } while (result == -1 && errno == EINTR);
    return result;
}

// A service manager may allow a million of them, so the kernel is asked to close the whole range
// where it can.
void close_from(int first) {
    if (close_range(static_cast<unsigned>(first), ~0u, 0) == 0)
        return;
    for (int fd = first, end = getdtablesize(); fd < end; ++fd)
        close(fd);
}
