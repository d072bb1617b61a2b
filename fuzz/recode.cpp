// Charset recoding. The first line of the input is "FROM" or "FROM TO", the rest is the text.
#include "codecs/charset.h"
#include "fuzz/fuzz.h"

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

void check(const std::string& text, const std::string& from, const std::string& to) {
    const auto replaced = recoded(text, from, to, true);
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
