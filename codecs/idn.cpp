#include "codecs/idn.h"

#include "base/owned.h"

#include <idna.h>
#include <new>

const char* idn_strerror(int errcode) {
    static constexpr struct {
        int code;
        const char* text;
    } texts[] = {
        {IDNA_SUCCESS, "Success"},
        {IDNA_STRINGPREP_ERROR, "Stringprep error"},
        {IDNA_PUNYCODE_ERROR, "Punycode error"},
        {IDNA_CONTAINS_NON_LDH, "Contains non-LDH characters"},
        {IDNA_CONTAINS_MINUS, "Contains minus"},
        {IDNA_INVALID_LENGTH, "Invalid length"},
        {IDNA_NO_ACE_PREFIX, "ACE prefix not found"},
        {IDNA_ROUNDTRIP_VERIFY_ERROR, "Verify error"},
        {IDNA_CONTAINS_ACE_PREFIX, "ACE prefix found"},
        {IDNA_ICONV_ERROR, "Iconv error"},
        {IDNA_MALLOC_ERROR, "Cannot allocate buffer"},
    };
    for (const auto& known : texts) {
        if (known.code == errcode)
            return known.text;
    }
    return "Unknown error";
}

namespace orvek::idn {

namespace {

/// Both conversions of libidn have this shape: text, place for a malloc'd result, flags.
using Conversion = int (*)(const char*, char**, int);

std::string convert(Conversion conversion, const std::string& name) {
    char* output = nullptr;
    const int code = conversion(name.c_str(), &output, 0);
    const MallocedText owner(output);
    if (code != IDNA_SUCCESS)
        throw IdnaError(code);
    if (output == nullptr)
        throw std::bad_alloc();
    return output;
}

} // namespace

std::string toAscii(const std::string& name) {
    return convert(idna_to_ascii_8z, name);
}

std::string toUtf8(const std::string& name) {
    return convert(idna_to_unicode_8z8z, name);
}

std::string emailToAscii(const std::string& address) {
    const std::size_t at = address.find('@');
    if (at == std::string::npos)
        return address;
    return address.substr(0, at + 1) + toAscii(address.substr(at + 1));
}

std::string ascii_form(const std::string& address) {
    try {
        return emailToAscii(address);
    } catch (const IdnaError&) {
        return address;
    }
}

std::string other_form(const std::string& domain) {
    try {
        std::string ascii = toAscii(domain);
        return ascii != domain ? ascii : toUtf8(domain);
    } catch (const IdnaError&) {
        return domain;
    }
}

} // namespace orvek::idn
