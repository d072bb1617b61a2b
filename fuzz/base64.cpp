// The Base64 codec of blocks and the lenient decoder of strings.
#include "codecs/base64.h"

#include "codecs/charset.h"
#include "fuzz/fuzz.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Bit by bit, as the RFC draws it.
std::string reference_encode(std::string_view bytes) {
    std::string text;
    std::uint32_t bits = 0;
    unsigned count = 0;
    for (const char c : bytes) {
        bits = bits << 8 | static_cast<unsigned char>(c);
        for (count += 8; count >= 6;)
            text += alphabet[bits >> (count -= 6) & 63];
    }
    if (count > 0)
        text += alphabet[bits << (6 - count) & 63];
    while (text.size() % 4 != 0)
        text += '=';
    return text;
}

/// The lenient decoder: groups of four, of which what is missing counts as zero, and as many bytes
/// as the group's length in the text allows.
std::string reference_lenient(std::string_view text) {
    text = text.substr(0, text.find('='));
    std::string bytes;
    while (!text.empty()) {
        unsigned long bits = 0;
        std::size_t length = 0;
        int symbols = 0;
        while (symbols < 4 && length < text.size()) {
            const std::size_t value = alphabet.find(text[length++]);
            if (value == std::string_view::npos)
                continue;
            bits |= value << (18 - 6 * symbols++);
        }
        const std::size_t count = std::clamp<std::size_t>(length, 2, 4) - 1;
        for (std::size_t i = 0; i < count; ++i)
            bytes += static_cast<char>(bits >> (16 - 8 * i));
        text.remove_prefix(length);
    }
    return bytes;
}

/// A buffer with bytes around it that nobody may change.
class Guarded {
public:
    explicit Guarded(std::size_t size) : bytes_(size + 2 * guard, mark), size_(size) {}
    ~Guarded() {
        const auto is_mark = [](unsigned char byte) { return byte == mark; };
        require(std::all_of(bytes_.begin(), bytes_.begin() + guard, is_mark) &&
                    std::all_of(bytes_.end() - guard, bytes_.end(), is_mark),
                "bytes around the buffer stay as they are");
    }
    unsigned char* data() { return bytes_.data() + guard; }
    char* text() { return reinterpret_cast<char*>(data()); }
    std::string_view view(std::size_t size) {
        require(size <= size_, "the result fits the buffer");
        return {text(), size};
    }

private:
    static constexpr int guard = 8;
    static constexpr unsigned char mark = 0xA5;
    std::vector<unsigned char> bytes_;
    std::size_t size_;
};

void check_encoding(std::string_view bytes) {
    const std::string expected = reference_encode(bytes);
    Guarded apart(expected.size() + 1), in_place(expected.size() + 1), back(bytes.size() + 2);
    base64Encode(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), apart.text());
    require(apart.text() == expected, "encoded text");
    std::copy(bytes.begin(), bytes.end(), in_place.data());
    base64Encode(in_place.data(), bytes.size(), in_place.text());
    require(in_place.text() == expected, "encoded text, in place");
    require(back.view(base64Decode(apart.text(), back.data())) == bytes,
            "decoding undoes encoding");
    require(orvek::base64_decode(expected) == bytes, "lenient decoding undoes encoding");
}

void check_decoding(const std::string& text) {
    Guarded array(3 * (text.size() / 4)), whole(3 * (std::strlen(text.c_str()) / 4));
    array.view(base64ArrayDecode(text.data(), text.size(), array.data()));
    whole.view(base64Decode(text.c_str(), whole.data()));
    require(orvek::base64_decode(text) == reference_lenient(text), "leniently decoded bytes");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string text(as_text(data, size));
    check_encoding(text);
    check_decoding(text);
    return 0;
}
