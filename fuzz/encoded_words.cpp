// Encoded words: decoding goes word by word, and undoes encoding.
#include "codecs/charset.h"
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

bool is_utf8(const std::string& text) {
    try {
        return orvek::iconvRecode(text, "UTF-8", "UTF-8", false) == text;
    } catch (const std::runtime_error&) {
        return false;
    }
}

/// Decoding both sides of a single blank one by one gives the same as decoding all at once.
void check_split(std::string_view text, std::size_t blank) {
    const std::string_view before = text.substr(0, blank);
    const std::string_view behind = text.substr(blank + 1);
    constexpr char blanks[] = " \t";
    if (before.find_last_of(blanks) == before.size() - 1 || behind.find_first_of(blanks) == 0)
        return;
    const auto first = decoded(before), second = decoded(behind), whole = decoded(text);
    require(whole.has_value() == (first && second), "one bad charset fails the whole text");
    if (!whole)
        return;
    const bool dropped = before.size() >= 2 && before.substr(before.size() - 2) == "?=" &&
                         behind.substr(0, 2) == "=?";
    require(*whole == *first + (dropped ? "" : std::string(1, text[blank])) + *second,
            "words are decoded one by one");
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
    require(is_utf8(text) ? decode(encoded) == text : encoded != text, "decoding undoes encoding");

    const std::size_t blank = text.find_first_of(" \t", size / 2);
    if (blank != std::string::npos)
        check_split(text, blank);
    return 0;
}
