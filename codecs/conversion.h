// A conversion of iconv's from one charset to another, for those here that convert text.
#pragma once

#include <array>
#include <cerrno>
#include <cstddef>
#include <iconv.h>
#include <string>
#include <string_view>

namespace orvek {

/// No charset has a name that long. iconv takes time quadratic in the length of some that end in
/// many suffixes, so it does not get to see them.
inline constexpr std::size_t max_charset_name = 128;

/// An open conversion. close() tells how closing went; the destructor closes what is still open.
class Conversion {
public:
    /// How much output a call of iconv is offered.
    static constexpr std::size_t room = 4096;

    Conversion(const std::string& from, const std::string& to)
        : descriptor_(from.size() <= max_charset_name && to.size() <= max_charset_name
                          ? iconv_open(to.c_str(), from.c_str())
                          : none()) {}
    Conversion& operator=(Conversion&&) = delete; // is neither copied nor moved
    ~Conversion() {
        if (is_open())
            iconv_close(descriptor_);
    }

    bool is_open() const { return descriptor_ != none(); }

    bool close() {
        const iconv_t descriptor = descriptor_;
        descriptor_ = none();
        return iconv_close(descriptor) == 0;
    }

    /// Appends what `input` is in the other charset, `replacement`, where there is one, for every
    /// byte that is no valid input. False when it ends before the input does: at a byte without a
    /// replacement, in a sequence that the end cuts off, or once `output` has `most` bytes.
    bool convert(std::string_view input, std::string& output, const char* replacement,
                 std::size_t most = std::string::npos) {
        while (!input.empty() && output.size() < most) {
            char* in = const_cast<char*>(input.data());
            const std::size_t before = input.size();
            std::size_t left = before;
            const int error = call(&in, &left, output);
            input.remove_prefix(before - left);
            if (error == EILSEQ && replacement != nullptr) {
                // A name with "//IGNORE" reports the bytes that it passed over after the last.
                if (!input.empty())
                    input.remove_prefix(1);
                output += replacement;
            } else if ((error != 0 && error != E2BIG) || input.size() == before) {
                // glibc's SHIFT_JISX0213 and EUC-JISX0213 can fill one buffer after another with
                // the same output, and take no input.
                return false;
            }
        }
        return input.empty();
    }

    /// Appends what the converter has held back. False when that failed.
    bool finish(std::string& output) { return call(nullptr, nullptr, output) == 0; }

private:
    static iconv_t none() { return reinterpret_cast<iconv_t>(-1); }

    /// One call of iconv: appends what it gave to `output`. Returns errno, 0 when all went well.
    int call(char** in, std::size_t* in_left, std::string& output) {
        // Converters of glibc have been known to write a few bytes more than they were offered.
        std::array<char, room + 64> buffer;
        char* out = buffer.data();
        std::size_t out_left = room;
        errno = 0;
        iconv(descriptor_, in, in_left, &out, &out_left);
        const int result = errno;
        output.append(buffer.data(), room - out_left);
        return result;
    }

    iconv_t descriptor_;
};

} // namespace orvek
