// Output streams over a file descriptor, for text that is written straight into another program.
#pragma once

#include <cstdio>
#include <ext/stdio_filebuf.h>
#include <ios>
#include <ostream>

/// Ends a stream that popen opened.
struct PipeCloseStrategy {
    static void close(std::FILE* pipe) { pclose(pipe); }
};

/// Opens for output only.
struct OutputStreamStrategy {
    static constexpr std::ios_base::openmode open_mode() { return std::ios_base::out; }
};

/// Output stream that owns its descriptor. Destruction closes the handle (by PipeCloseStrategy,
/// where there is one), writes out what is still buffered and closes the descriptor; errors of
/// these go unreported. Made from -1 it is in the failed state; over any other descriptor that
/// cannot be taken it has no buffer, and writing to it fails.
template <typename PipeCloseStrategy, typename OutputStreamStrategy>
class basic_handlestream : public std::ostream, private OutputStreamStrategy {
public:
    ~basic_handlestream() override {
        if (handle_ != nullptr)
            PipeCloseStrategy::close(handle_);
        buffer_.close();
    }

protected:
    explicit basic_handlestream(int fd)
        : std::ostream(nullptr), buffer_(fd, open_mode_, buffer_size) {
        if (buffer_.is_open())
            rdbuf(&buffer_);
        if (fd == -1)
            setstate(std::ios_base::failbit);
    }

private:
    static constexpr std::size_t buffer_size = 8192;

    std::ios_base::openmode open_mode_ = OutputStreamStrategy::open_mode();
    std::FILE* handle_ = nullptr;
    __gnu_cxx::stdio_filebuf<char> buffer_;
};

/// Output stream over the write end of a pipe, which it owns.
class ofd_pipestream : public basic_handlestream<PipeCloseStrategy, OutputStreamStrategy> {
public:
    explicit ofd_pipestream(int fd) : basic_handlestream(fd) {}
};
