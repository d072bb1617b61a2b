// The Base64 alphabet of RFC 2045, which every encoder and decoder here shares.
//
// There are three decoders because they answer to three rules. The blocks of the codecs decode
// whole groups as they are, without a look at what is no symbol; a transfer encoding passes over
// what is none and ends at the first "=" (mimelib/transfer.cpp); an encoded word passes over it
// too, but says so, and reads on behind "=" (codecs/charset.cpp).
#pragma once

#include <array>
#include <cstddef>

inline constexpr char base64Chars[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// The value of every byte as a symbol; 255 for those that are none.
inline constexpr std::array<unsigned char, 256> base64Inv = [] {
    std::array<unsigned char, 256> values{};
    values.fill(255);
    for (unsigned char value = 0; value < 64; ++value)
        values[static_cast<unsigned char>(base64Chars[value])] = value;
    return values;
}();
