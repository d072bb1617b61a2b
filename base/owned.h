// Owners for the plain resources that the C-style interfaces hand out: malloc'd text, stdio
// streams and file descriptors. Each releases what it holds on every way out of a scope.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <unistd.h>
#include <utility>

struct FreeDeleter {
    void operator()(void* block) const noexcept { std::free(block); }
};

/// Zero-terminated text from malloc, realloc, strdup or vasprintf; may be null.
using MallocedText = std::unique_ptr<char, FreeDeleter>;

/// Keeps errno, which may be on its way to whoever reports it.
struct FileCloser {
    void operator()(std::FILE* file) const noexcept {
        const int pending = errno;
        std::fclose(file);
        errno = pending;
    }
};

/// A stdio stream from fopen or fdopen; null when the open failed.
using File = std::unique_ptr<std::FILE, FileCloser>;

/// A file descriptor, closed on destruction, which keeps errno. -1 stands for none.
class Descriptor {
public:
    Descriptor() noexcept = default;
    explicit Descriptor(int fd) noexcept : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~Descriptor() { reset(); }

    int get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ != -1; }

    /// Gives up ownership; the caller closes the result.
    int release() noexcept { return std::exchange(fd_, -1); }

    /// Closes what is held, if anything, and takes `fd`.
    void reset(int fd = -1) noexcept {
        const int pending = errno;
        if (fd_ != -1)
            close(fd_);
        fd_ = fd;
        errno = pending;
    }

private:
    int fd_ = -1;
};
