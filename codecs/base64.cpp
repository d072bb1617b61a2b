#include "codecs/base64.h"

#include "base/base64_alphabet.h"

#include <cstdint>
#include <cstring>

namespace {

char symbol(std::uint32_t bits) {
    return base64Chars[bits & 63];
}

std::uint32_t value(char character) {
    return base64Inv[static_cast<unsigned char>(character)];
}

void put_group(std::uint32_t bits, char* output) {
    output[0] = symbol(bits >> 18);
    output[1] = symbol(bits >> 12);
    output[2] = symbol(bits >> 6);
    output[3] = symbol(bits);
}

void put_bytes(std::uint32_t bits, std::size_t count, unsigned char* output) {
    for (std::size_t i = 0; i < count; ++i)
        output[i] = static_cast<unsigned char>(bits >> (16 - 8 * i));
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
    const std::size_t groups = length / 3;
    const std::size_t rest = length % 3;
    std::size_t encoded = 4 * groups;
    if (rest != 0) {
        const unsigned char* const last = input + 3 * groups;
        const std::uint32_t second = rest == 2 ? last[1] : 0u;
        const std::uint32_t bits = std::uint32_t{last[0]} << 16 | second << 8;
        char group[4];
        put_group(bits, group);
        group[3] = '=';
        if (rest == 1)
            group[2] = '=';
        std::memcpy(output + encoded, group, sizeof group);
        encoded += 4;
    }
    for (std::size_t g = groups; g-- > 0;) {
        const unsigned char* const bytes = input + 3 * g;
        put_group(std::uint32_t{bytes[0]} << 16 | std::uint32_t{bytes[1]} << 8 | bytes[2],
                  output + 4 * g);
    }
    output[encoded] = '\0';
}

std::size_t base64ArrayDecode(const char* text, std::size_t length, unsigned char* output) {
    if (length < 4)
        return 0;
    const std::size_t padding = count_padding(text, length);
    const std::size_t groups = length / 4 - (padding != 0 ? 1 : 0);
    for (std::size_t g = 0; g < groups; ++g) {
        const char* const group = text + 4 * g;
        put_bytes(value(group[0]) << 18 | value(group[1]) << 12 | value(group[2]) << 6 |
                      value(group[3]),
                  3, output + 3 * g);
    }
    if (padding == 0)
        return 3 * groups;
    const char* const last = text + 4 * groups;
    std::uint32_t bits = value(last[0]) << 18 | value(last[1]) << 12;
    if (padding == 1)
        bits |= value(last[2]) << 6;
    put_bytes(bits, 3 - padding, output + 3 * groups);
    return 3 * groups + 3 - padding;
}

std::size_t base64Decode(const char* text, unsigned char* output) {
    return base64ArrayDecode(text, std::strlen(text), output);
}
