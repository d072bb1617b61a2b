// System calls that a signal may interrupt, sent again until they have an answer. errno is theirs.
#pragma once

#include "base/owned.h"

#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <sys/types.h>

/// read(2).
ssize_t read_some(int fd, void* bytes, std::size_t size);

/// Reads until `size` bytes are there, the file ends or an error ends it; how many there are.
std::size_t read_fully(int fd, void* bytes, std::size_t size);

/// Writes all of `bytes`; false as soon as that fails.
bool write_fully(int fd, std::string_view bytes);

/// Writes the pieces, 15 at most, and `end` at once, and is content with what gets through. Like
/// write(2) it touches no stream, heap or lock, which a child of vfork shares with its parent.
void write_pieces(int fd, std::initializer_list<std::string_view> pieces,
                  std::string_view end = {});

/// A pipe, both of whose ends close on exec.
struct Pipe {
    Descriptor read_end, write_end;

    explicit operator bool() const { return read_end && write_end; }
};

/// Opens one; false with errno set.
Pipe open_pipe();

/// waitpid(2). errno is 0 on success.
pid_t wait_for(pid_t child, int* status, int options);

/// Closes every descriptor from `first` up. Touches neither heap nor streams nor locks.
void close_from(int first);
