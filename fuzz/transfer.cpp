// The decoders of the content transfer encodings, against slow ones.
#include "fuzz/fuzz.h"
#include "mimelib/mimelib.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace {

std::string reference_base64(std::string_view text) {
    constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    std::uint32_t bits = 0;
    int count = 0;
    for (const char c : text.substr(0, text.find('='))) {
        const std::size_t value = alphabet.find(c);
        if (value == std::string_view::npos)
            continue;
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes += static_cast<char>(bits >> count);
        }
    }
    return bytes;
}

/// Whether `text` is a soft line break's rest behind "=", and how long.
bool is_soft_break(std::string_view text, std::size_t& length) {
    length = std::min(text.find_first_not_of(" \t"), text.size());
    if (length == text.size())
        return true;
    if (text.substr(length, 2) == "\r\n")
        ++length;
    return text[length++] == '\n';
}

std::string reference_quoted_printable(std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEFabcdef";
    std::string bytes;
    while (!text.empty()) {
        std::size_t length = 1;
        char byte = text.front();
        const bool escape = byte == '=';
        text.remove_prefix(1);
        if (escape && is_soft_break(text, length)) {
            text.remove_prefix(length);
            continue;
        }
        if (escape && text.size() >= 2 && digits.find(text[0]) != std::string_view::npos &&
            digits.find(text[1]) != std::string_view::npos) {
            byte = static_cast<char>(std::stoi(std::string(text.substr(0, 2)), nullptr, 16));
            text.remove_prefix(2);
        }
        bytes += byte;
    }
    return bytes;
}

/// Every byte escaped that may be, with soft line breaks at places that `bytes` decides.
std::string encode_quoted_printable(std::string_view bytes) {
    constexpr char hex[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const unsigned byte = static_cast<unsigned char>(c);
        if (c == '=' || byte % 3 != 0)
            text.append(1, '=').append(1, hex[byte >> 4]).append(1, hex[byte & 15]);
        else
            text += c;
        if (byte % 7 == 0)
            text += byte % 2 == 0 ? "=\n" : "= \t\r\n";
    }
    return text;
}

using Decoder = int (*)(const DwString&, DwString&);

std::string decode(Decoder decoder, std::string_view text) {
    const DwString in(text);
    DwString apart;
    DwString in_place(in);
    require(decoder(in, apart) == 0 && decoder(in_place, in_place) == 0, "no input is an error");
    require(in == text, "the input stays as it is");
    require(apart == in_place.view(), "in place as elsewhere");
    require(apart.size() <= text.size(), "decoded text is no longer than its encoded form");
    return apart.str();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string_view text = as_text(data, size);
    require(decode(DwDecodeBase64, text) == reference_base64(text), "decoded base64");
    require(decode(DwDecodeQuotedPrintable, text) == reference_quoted_printable(text),
            "decoded quoted-printable");
    require(decode(DwDecodeQuotedPrintable, encode_quoted_printable(text)) == text,
            "decoding undoes quoted-printable");
    return 0;
}
