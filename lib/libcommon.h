// Helpers for memory and zero-terminated text. White space is what isspace() says it is.
#pragma once

#include <cctype>
#include <cstddef>

/// The block resized, moved if need be, which the caller frees; a new one where `prev` is null.
/// Without memory the process ends with status 1, after a message.
void* realloc_safe(void* prev, std::size_t size);

/// As isspace(3), of any byte.
inline bool is_space(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

/// The first character of `text` that is not white space; its end where there is none.
char* skip_space(char* text);

/// Removes white space at the end in place and returns `str`.
char* orvek_rtrim(char* str);

/// The same, and returns the first position that is not white space. The text in front stays where
/// it is: the caller frees the pointer that it passed in.
char* orvek_trim(char* str);
