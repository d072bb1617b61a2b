// The decoders of the content transfer encodings.
#include "fuzz/fuzz.h"
#include "mimelib/mimelib.h"

#include <string>

namespace {

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
    require(decode(DwDecodeBase64, text).size() <= (text.size() + 1) * 3 / 4, "three for four");
    const std::string plain = decode(DwDecodeQuotedPrintable, text);
    require(text.find('=') != std::string_view::npos || plain == text, "plain text stays");
    require(decode(DwDecodeQuotedPrintable, encode_quoted_printable(text)) == text,
            "decoding undoes quoted-printable");
    return 0;
}
