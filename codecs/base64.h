// Base64 of blocks of bytes in buffers of the caller's (RFC 2045 alphabet, padded, no line breaks).
// Nothing here allocates, checks its input or reports anything.
#pragma once

#include <cstddef>

/// Encodes `length` bytes. `output` needs 4 * ceil(length / 3) characters and one for the NUL that
/// ends the text; it may be the buffer that holds the input.
void base64Encode(const unsigned char* input, std::size_t length, char* output);

/// Decodes `length` characters of padded Base64 and returns the number of bytes written. `output`
/// needs 3 * (length / 4) bytes; no terminator is written. Input outside the contract (other
/// characters, a length that is no multiple of four, "=" elsewhere than at the end) gives bytes of
/// no meaning, or none, but stays within both buffers.
std::size_t base64ArrayDecode(const char* text, std::size_t length, unsigned char* output);

/// The same for zero-terminated text.
std::size_t base64Decode(const char* text, unsigned char* output);
