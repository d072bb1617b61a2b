#include "codecs/base64.h"

#include "base/base64_alphabet.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

char symbol(std::uint32_t bits) {
    return base64Chars[bits & 63];
}

std::uint32_t value(char character) {
    return base64Inv[static_cast<unsigned char>(character)];
}

/// Four symbols for three bytes; they may go where these stand.
void put_group(const unsigned char* bytes, char* output) {
    const std::uint32_t bits =
        std::uint32_t{bytes[0]} << 16 | std::uint32_t{bytes[1]} << 8 | bytes[2];
    output[0] = symbol(bits >> 18);
    output[1] = symbol(bits >> 12);
    output[2] = symbol(bits >> 6);
    output[3] = symbol(bits);
}

std::size_t count_padding(const char* text, std::size_t length) {
    if (length < 2)
        return 0;
    if (text[length - 2] == '=')
        return 2;
    return text[length - 1] == '=' ? 1 : 0;
}

} // namespace

// From the back to the front: an output group never lies before its input group, so encoding in
// place overwrites only what has been read.
void base64Encode(const unsigned char* input, std::size_t length, char* output) {
    const std::size_t rest = length % 3;
    const std::size_t groups = length / 3;
    char* const end = output + 4 * groups;
    end[rest == 0 ? 0 : 4] = '\0';
    if (rest != 0) {
        unsigned char last[3] = {};
        std::copy_n(input + 3 * groups, rest, last);
        put_group(last, end);
        std::fill(end + rest + 1, end + 4, '=');
    }
    for (std::size_t g = groups; g-- > 0;)
        put_group(input + 3 * g, output + 4 * g);
}

std::size_t base64ArrayDecode(const char* text, std::size_t length, unsigned char* output) {
    if (length < 4)
        return 0;
    const std::size_t count = length / 4 * 3 - count_padding(text, length);
    for (std::size_t done = 0; done < count; text += 4) {
        // What stands for padding reaches no byte that is written.
        const std::uint32_t bits =
            value(text[0]) << 18 | value(text[1]) << 12 | value(text[2]) << 6 | value(text[3]);
        for (int shift = 16; shift >= 0 && done < count; shift -= 8)
            output[done++] = static_cast<unsigned char>(bits >> shift);
    }
    return count;
}

std::size_t base64Decode(const char* text, unsigned char* output) {
    return base64ArrayDecode(text, std::strlen(text), output);
}
