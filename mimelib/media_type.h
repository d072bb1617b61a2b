// Content-Type and Content-Transfer-Encoding (RFC 2045).
#pragma once

#include "mimelib/component.h"
#include "mimelib/field_text.h"

#include <cstddef>
#include <optional>

namespace DwMime {

/// Those that the program asks for; all others are unknown.
enum MediaType {
    kTypeUnknown,
    kTypeText,
    kTypeMultipart,
};

enum Encoding {
    kCteNull,
    kCteUnknown,
    kCteQuotedPrintable,
    kCteBase64,
};

} // namespace DwMime

/// The body of a Content-Type field.
class DwMediaType : public DwMessageComponent {
public:
    explicit DwMediaType(const DwString& text);

    /// A DwMime::MediaType. Known by the type alone: "text" without a subtype is text.
    int Type() const { return type_; }

    /// Whether the subtype is `subtype`, in any case; "" where there is none.
    bool HasSubtype(std::string_view subtype) const;

    /// The value of the first parameter of that name, in any case.
    std::optional<DwString> FirstParameter(std::string_view name) const;

    /// What stands behind the first semicolon: the parameters.
    DwString ParameterText() const { return AsString().substr(parameters_); }

private:
    int type_;
    DwString subtype_;
    std::size_t parameters_;
};

/// A parameter of a media type.
class DwParameter {
public:
    DwParameter() = default;
    DwParameter(const DwString& attribute, const DwString& value)
        : attribute_(attribute), value_(value) {}

    /// The name, as written. Never empty.
    const DwString& Attribute() const { return attribute_; }
    /// The value without quotes, backslashes and line breaks; empty when there is none.
    const DwString& Value() const { return value_; }

private:
    DwString attribute_;
    DwString value_;
};

/// Walks over the parameters of a media type.
class DwParameterReader {
public:
    explicit DwParameterReader(const DwMediaType& type)
        : text_(type.ParameterText()), field_(text_.view()) {}

    /// Moves to the next parameter; false behind the last.
    bool Next();

    /// The parameter, until the next call of Next().
    const DwParameter& Parameter() const { return parameter_; }

private:
    DwString text_;
    mimelib::Scanner field_;
    DwParameter parameter_;
};

/// The body of a Content-Transfer-Encoding field.
class DwMechanism : public DwMessageComponent {
public:
    explicit DwMechanism(const DwString& text) : DwMessageComponent(text) {}

    /// A DwMime::Encoding; kCteNull when there is no name.
    int AsEnum() const;
};
