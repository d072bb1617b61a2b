#include "codecs/idn.h"

#include <cstdlib>
#include <idna.h>
#include <memory>
#include <new>

const char* idn_strerror(int errcode) {
    switch (errcode) {
    case 0:
        return "Success";
    case 1:
        return "Stringprep error";
    case 2:
        return "Punycode error";
    case 3:
        return "Contains non-LDH characters";
    case 4:
        return "Contains minus";
    case 5:
        return "Invalid length";
    case 6:
        return "ACE prefix not found";
    case 7:
        return "Verify error";
    case 8:
        return "ACE prefix found";
    case 9:
        return "Iconv error";
    case 201:
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
    if (code != 0)
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

bool is_same_address(const std::string& a, const std::string& b) {
    try {
        return a == b || emailToAscii(a) == emailToAscii(b);
    } catch (const IdnaError&) {
        return false;
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
