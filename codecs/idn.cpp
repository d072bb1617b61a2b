#include "codecs/idn.h"

#include <cstdlib>
#include <idna.h>
#include <memory>
#include <new>

const char* idn_strerror(int errcode) {
    switch (errcode) {
    case IDNA_SUCCESS:
        return "Success";
    case IDNA_STRINGPREP_ERROR:
        return "Stringprep error";
    case IDNA_PUNYCODE_ERROR:
        return "Punycode error";
    case IDNA_CONTAINS_NON_LDH:
        return "Contains non-LDH characters";
    case IDNA_CONTAINS_MINUS:
        return "Contains minus";
    case IDNA_INVALID_LENGTH:
        return "Invalid length";
    case IDNA_NO_ACE_PREFIX:
        return "ACE prefix not found";
    case IDNA_ROUNDTRIP_VERIFY_ERROR:
        return "Verify error";
    case IDNA_CONTAINS_ACE_PREFIX:
        return "ACE prefix found";
    case IDNA_ICONV_ERROR:
        return "Iconv error";
    case IDNA_MALLOC_ERROR:
        return "Cannot allocate buffer";
    default:
        return "Unknown error";
    }
}

namespace orvek::idn {

namespace {

struct LibidnFree {
    void operator()(char* text) const noexcept { std::free(text); }
};

/// Both conversions of libidn have this shape: text, place for a malloc'd result, flags.
using Conversion = int (*)(const char*, char**, int);

std::string convert(Conversion conversion, const std::string& name) {
    char* output = nullptr;
    const int code = conversion(name.c_str(), &output, 0);
    const std::unique_ptr<char, LibidnFree> owner(output);
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
