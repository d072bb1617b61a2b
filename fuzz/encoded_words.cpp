// Encoded words: decoding undoes encoding.
#include "codecs/charset.h"
#include "codecs/utf8.h"
#include "fuzz/fuzz.h"

#include <optional>
#include <stdexcept>
#include <string>

namespace {

using orvek::rfc1522::decode;
using orvek::rfc1522::encode;

/// The decoded text; none when a charset cannot be recoded. Nothing else may be thrown.
std::optional<std::string> decoded(std::string_view text) {
    try {
        return decode(std::string(text));
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string text(as_text(data, size));
    const std::optional<std::string> plain = decoded(text);
    if (text.find("=?") == std::string::npos && text.find("?=") == std::string::npos)
        require(plain == text, "text without encoded words stays as it is");

    const std::string encoded = encode(text);
    for (const char c : encoded)
        require(static_cast<unsigned char>(c) >= 32 && static_cast<unsigned char>(c) < 128,
                "encoded text has no control characters and is ASCII");
    const bool is_utf8 = orvek::well_formed_utf8_length(text) == size;
    require(is_utf8 ? decode(encoded) == text : encoded != text, "decoding undoes encoding");
    return 0;
}
