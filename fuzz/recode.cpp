// Charset recoding, against iconv in one call with a buffer for everything. The first line of the
// input is "FROM" or "FROM TO", the rest is the text.
#include "codecs/charset.h"
#include "fuzz/fuzz.h"

#include <cctype>
#include <cerrno>
#include <iconv.h>
#include <optional>
#include <stdexcept>
#include <string>

namespace {

std::optional<std::string> recoded(const std::string& text, const std::string& from,
                                   const std::string& to, bool replace) {
    try {
        return orvek::iconvRecode(text, from, to, replace);
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

/// The same by as few calls of iconv as it takes.
std::optional<std::string> reference(std::string text, const std::string& from,
                                     const std::string& to, bool replace) {
    if (from.size() > 128 || to.size() > 128)
        return std::nullopt;
    const iconv_t conversion = iconv_open(to.c_str(), from.c_str());
    if (conversion == reinterpret_cast<iconv_t>(-1))
        return std::nullopt;
    std::optional<std::string> result("");
    std::string buffer(16 * text.size() + 4096, '\0');
    char* in = text.data();
    std::size_t in_left = text.size();
    while (in_left > 0 && result) {
        char* out = buffer.data();
        std::size_t out_left = buffer.size();
        errno = 0;
        iconv(conversion, &in, &in_left, &out, &out_left);
        const int error = errno;
        result->append(buffer.data(), out);
        if (error == EILSEQ && replace) {
            in += in_left > 0;
            in_left -= in_left > 0;
            *result += '?';
        } else if (error != 0) {
            result.reset();
        }
    }
    iconv_close(conversion);
    return result;
}

/// The C library's converter of TSCII writes something else where a character meets the end of the
/// output buffer, so that no two sizes of it agree. Strange characters in a name do not count.
bool depends_on_buffer(const std::string& charset) {
    std::string name;
    for (const char c : charset) {
        if (std::isalnum(static_cast<unsigned char>(c)))
            name += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return name.find("TSCII") != std::string::npos;
}

void check(const std::string& text, const std::string& from, const std::string& to) {
    const auto replaced = recoded(text, from, to, true);
    require(depends_on_buffer(from) || depends_on_buffer(to) ||
                replaced == reference(text, from, to, true),
            "the same as by one call of iconv");
    const auto strict = recoded(text, from, to, false);
    require(!strict || strict == replaced, "replacing changes nothing in valid text");
    require(strict || !replaced || replaced->find('?') != std::string::npos,
            "what replaced something left its mark");
    // Going there and back is the identity for charsets that have one code per character.
    if (strict && (from == "KOI8-R" || from == "ISO-8859-1" || from == "UTF-16LE"))
        require(to != "UTF-8" || recoded(*strict, to, from, false) == text, "there and back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    std::string_view rest = as_text(data, size);
    std::string_view names = take_until(rest, '\n');
    names = names.substr(0, names.find('\0'));
    const std::string from(take_until(names, ' '));
    const std::string to(names.empty() ? "UTF-8" : names);
    std::string text(rest);
    check(text, from, to);
    // Once more with more than a buffer of output. The recoder sees its blocks end anywhere.
    if (text.empty())
        return 0;
    while (text.size() < 5000)
        text += rest;
    check(text, from, to);
    return 0;
}
