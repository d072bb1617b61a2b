// Content-Type and Content-Transfer-Encoding (RFC 2045).
#pragma once

#include "mimelib/component.h"

#include <optional>

namespace DwMime {

// Those that the program asks for; all others are unknown.

enum MediaType {
    kTypeUnknown,
    kTypeText,
    kTypeMultipart,
};

enum Encoding {
    kCteUnknown,
    kCteQuotedPrintable,
    kCteBase64,
};

} // namespace DwMime

/// A parameter of a media type. It keeps the field that it stands in.
class DwParameter {
public:
    /// The name, as written. Never empty.
    const DwString& Attribute() const { return attribute_; }
    /// The value without quotes, backslashes and line breaks; empty when there is none.
    const DwString& Value() const { return value_; }

    /// The parameter behind this one; none behind the last.
    std::optional<DwParameter> Next() const { return first_of(rest_); }

private:
    friend class DwMediaType;

    /// The parameter that `text`, the rest of a field, begins with.
    static std::optional<DwParameter> first_of(const DwString& text);

    DwString attribute_;
    DwString value_;
    DwString rest_;
};

/// The body of a Content-Type field.
class DwMediaType : public DwMessageComponent {
public:
    explicit DwMediaType(const DwString& text);

    /// A DwMime::MediaType. Known by the type alone: "text" without a subtype is text.
    int Type() const { return type_; }

    /// Whether the subtype is `subtype`, in any case; "" where there is none.
    bool HasSubtype(std::string_view subtype) const;

    /// None when it has no parameters.
    std::optional<DwParameter> FirstParameter() const { return DwParameter::first_of(parameters_); }
    /// The value of the first one of that name, in any case; none when there is none.
    std::optional<DwString> Parameter(std::string_view attribute) const;

private:
    int type_;
    DwString subtype_;
    /// What stands behind the first semicolon.
    DwString parameters_;
};

/// The body of a Content-Transfer-Encoding field.
class DwMechanism : public DwMessageComponent {
public:
    explicit DwMechanism(const DwString& text) : DwMessageComponent(text) {}

    /// A DwMime::Encoding.
    int AsEnum() const;
};
