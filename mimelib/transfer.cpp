#include "mimelib/transfer.h"

#include "base/base64_alphabet.h"
#include "base/text.h"

#include <algorithm>
#include <cstdint>

namespace {

std::uint32_t base64_value(char c) {
    return base64Inv[static_cast<unsigned char>(c)];
}

void put_group(std::uint32_t bits, char*& to) {
    to[0] = static_cast<char>(bits >> 16);
    to[1] = static_cast<char>(bits >> 8);
    to[2] = static_cast<char>(bits);
    to += 3;
}

/// Decodes the groups of four symbols at the front of `text` to `to`, which it moves. Returns how
/// many characters that took.
std::size_t decode_groups(std::string_view text, char*& to) {
    std::size_t at = 0;
    for (; text.size() - at >= 4; at += 4) {
        const std::uint32_t a = base64_value(text[at]), b = base64_value(text[at + 1]),
                            c = base64_value(text[at + 2]), d = base64_value(text[at + 3]);
        if ((a | b | c | d) > 63)
            break;
        put_group(a << 18 | b << 12 | c << 6 | d, to);
    }
    return at;
}

/// Behind "=": length of the soft line break's rest; npos when it is none.
std::size_t soft_break_length(std::string_view text) {
    const std::size_t end = std::min(text.find_first_not_of(" \t"), text.size());
    if (end == text.size())
        return end;
    if (text[end] == '\n')
        return end + 1;
    return text.substr(end, 2) == "\r\n" ? end + 2 : std::string_view::npos;
}

} // namespace

int DwDecodeBase64(const DwString& in, DwString& out) {
    const std::string_view text = in.view();
    std::string bytes(text.size() / 4 * 3 + 3, '\0');
    char* to = bytes.data();
    std::size_t at = 0;
    std::uint32_t bits = 0;
    int symbols = 0;
    for (;;) {
        if (symbols == 0)
            at += decode_groups(text.substr(at), to);
        if (at == text.size() || text[at] == '=')
            break;
        const std::uint32_t value = base64_value(text[at++]);
        if (value > 63)
            continue;
        bits = bits << 6 | value;
        if (++symbols == 4) {
            put_group(bits, to);
            symbols = 0;
        }
    }
    if (symbols >= 2)
        *to++ = static_cast<char>(bits >> (6 * symbols - 8));
    if (symbols == 3)
        *to++ = static_cast<char>(bits >> 2);
    bytes.resize(static_cast<std::size_t>(to - bytes.data()));
    out = DwString(std::move(bytes));
    return 0;
}

int DwDecodeQuotedPrintable(const DwString& in, DwString& out) {
    std::string_view text = in.view();
    std::string bytes;
    bytes.reserve(text.size());
    for (;;) {
        const std::size_t equals = text.find('=');
        bytes += text.substr(0, equals);
        if (equals == std::string_view::npos)
            break;
        text.remove_prefix(equals + 1);
        const std::size_t soft_break = soft_break_length(text);
        if (soft_break != std::string_view::npos) {
            text.remove_prefix(soft_break);
        } else if (const std::optional<char> byte = hex_byte(text)) {
            bytes += *byte;
            text.remove_prefix(2);
        } else {
            bytes += '=';
        }
    }
    out = DwString(std::move(bytes));
    return 0;
}
