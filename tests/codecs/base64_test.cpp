#include "codecs/base64.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

/// Decodes into a buffer on the heap that is no larger than it has to be.
std::string decode(const std::string& text) {
    std::vector<unsigned char> output(3 * (text.size() / 4));
    const std::size_t count = base64ArrayDecode(text.data(), text.size(), output.data());
    EXPECT_LE(count, output.size()) << text;
    return {output.begin(), output.begin() + static_cast<std::ptrdiff_t>(count)};
}

std::string encode(const std::string& bytes) {
    std::vector<char> output((bytes.size() + 2) / 3 * 4 + 1, '~'), in_place = output;
    base64Encode(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), output.data());
    std::memcpy(in_place.data(), bytes.data(), bytes.size());
    base64Encode(reinterpret_cast<unsigned char*>(in_place.data()), bytes.size(), in_place.data());
    EXPECT_EQ(output, in_place);
    EXPECT_EQ(output.back(), '\0');
    return output.data();
}

TEST(Base64, EncodesAndDecodesEveryLength) {
    EXPECT_EQ(encode("Man"), "TWFu");
    EXPECT_EQ(encode("Ma"), "TWE=");
    EXPECT_EQ(encode("M"), "TQ==");
    EXPECT_EQ(encode("\xFB\xFF\xBF"), "+/+/");
    std::string bytes;
    for (std::size_t length = 0; length <= 100; ++length) {
        const std::string text = encode(bytes);
        EXPECT_EQ(text.size(), (length + 2) / 3 * 4);
        std::vector<unsigned char> decoded(text.size());
        EXPECT_EQ(base64Decode(text.c_str(), decoded.data()), length);
        EXPECT_EQ(decode(text), bytes) << length;
        bytes += static_cast<char>(length * 151);
    }
}

TEST(Base64, InputOutsideTheContractStaysWithinTheBuffers) {
    EXPECT_EQ(decode("TWFuTQ"), "Man");
    for (const char* text : {"=", "==", "===", "====", "A=", "AB=", "A==", "TWFu=", "TWFu==",
                             "T===", "=AAA", "A=AA", "!\xFF\x01-", "TQ==TQ==", "TWFuTWE"})
        decode(text);
}

} // namespace
