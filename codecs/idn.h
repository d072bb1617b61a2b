// Internationalised domain names (RFC 3490), by GNU libidn.
#pragma once

#include <exception>
#include <string>

/// Fixed English text of a libidn return code; "Unknown error" for codes not known here.
const char* idn_strerror(int errcode);

namespace orvek::idn {

/// A conversion that libidn refused.
class IdnaError : public std::exception {
public:
    explicit IdnaError(int code) : code_(code) {}
    const char* what() const noexcept override { return idn_strerror(code_); }

private:
    int code_;
};

/// ASCII form of a UTF-8 domain name, up to its first NUL. The name is taken label by label, a
/// label being what stands between dots; host-name rules are not applied, so an "@" may stand in
/// one. Throws IdnaError, or std::bad_alloc.
std::string toAscii(const std::string& name);

/// UTF-8 form of an ASCII domain name. Throws as toAscii does.
std::string toUtf8(const std::string& name);

/// The address with everything behind its first "@" in ASCII form; unchanged without an "@". The
/// local part is never converted. Throws as toAscii does.
std::string emailToAscii(const std::string& address);

/// The address with its domain in ASCII form; as it is where it has none.
std::string ascii_form(const std::string& address);

/// The domain in its other form: in ASCII where it is not, in UTF-8 where that says something else.
/// The same domain where there is no other, or none that libidn gives.
std::string other_form(const std::string& domain);

} // namespace orvek::idn
