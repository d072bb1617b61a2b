#include "codecs/utf8.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace {

bool is_between(unsigned char byte, unsigned char first, unsigned char last) {
    return byte >= first && byte <= last;
}

/// Length of the character of several bytes that `text` begins with; 0 when it is none. The ranges
/// of the second byte are those of RFC 3629: no overlong forms, no surrogates, nothing above
/// U+10FFFF.
std::size_t multibyte_length(std::string_view text) {
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const auto follows = [text](std::size_t i) { return orvek::continues_character(text[i]); };
    const unsigned char first = byte(0);
    if (is_between(first, 0xc2, 0xdf))
        return text.size() >= 2 && follows(1) ? 2 : 0;
    if (is_between(first, 0xe0, 0xef))
        return text.size() >= 3 && follows(2) &&
                       is_between(byte(1), first == 0xe0 ? 0xa0 : 0x80, first == 0xed ? 0x9f : 0xbf)
                   ? 3
                   : 0;
    if (is_between(first, 0xf0, 0xf4))
        return text.size() >= 4 && follows(2) && follows(3) &&
                       is_between(byte(1), first == 0xf0 ? 0x90 : 0x80, first == 0xf4 ? 0x8f : 0xbf)
                   ? 4
                   : 0;
    return 0;
}

} // namespace

namespace orvek {

std::size_t ascii_length(std::string_view text) {
    using Block = std::array<std::uint64_t, 4>;
    constexpr std::uint64_t high_bits = 0x8080808080808080;
    std::size_t length = 0;
    for (Block block; text.size() - length >= sizeof block; length += sizeof block) {
        std::memcpy(block.data(), text.data() + length, sizeof block);
        if (((block[0] | block[1] | block[2] | block[3]) & high_bits) != 0)
            break;
    }
    while (length < text.size() && static_cast<unsigned char>(text[length]) < 0x80)
        ++length;
    return length;
}

std::size_t well_formed_utf8_length(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size()) {
        const std::string_view rest = text.substr(length);
        const std::size_t ascii = ascii_length(rest);
        const std::size_t step = ascii != 0 ? ascii : multibyte_length(rest);
        if (step == 0)
            break;
        length += step;
    }
    return length;
}

std::string without_ill_formed_utf8(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (;;) {
        const std::size_t length = well_formed_utf8_length(text);
        result += text.substr(0, length);
        if (length == text.size())
            return result;
        result += no_character;
        text.remove_prefix(length + 1);
    }
}

std::string_view without_cut_character(std::string_view text) {
    std::size_t start = text.size();
    while (start > 0 && continues_character(text[start - 1]))
        --start;
    if (start == 0)
        return text;
    const auto first = static_cast<unsigned char>(text[--start]);
    const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    const bool is_cut = is_between(first, 0xc2, 0xf4) && text.size() - start < length;
    return is_cut ? text.substr(0, start) : text;
}

} // namespace orvek
